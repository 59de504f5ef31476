#pragma once

#include <cstddef>
#include <cstdint>

/**
 * A kernel of the similarity measure: the functions that count the differing bits of two
 * fingerprints at every offset, and that bound their number from below. There is one for each kind
 * of processor; kernelchoice.h chooses.
 *
 * The sources of the kernels for wide registers are compiled for processors that not every machine
 * has. They must share no inline function with the rest of the program: the linker keeps one copy
 * of such a function, and it could be theirs. So this header contains declarations only.
 */
namespace compare {

/** Offsets 0 to 39 of the first fingerprint are tried: about five seconds of audio. */
inline constexpr std::size_t kOffsetCount = 40;

inline constexpr std::size_t kBitsPerWord = 32;

/** In how many words of a block of at most 64 each bit is set. */
struct alignas(kBitsPerWord) BitCounts
{
    std::uint8_t ofBit[kBitsPerWord]; // NOLINT(modernize-avoid-c-arrays): no inline functions
};

struct SimilarityKernel
{
    /** "table", "popcount", "popcnt", "avx2" or "avx512". */
    const char* name;

    /** Whether this processor, and the operating system on it, can run addErrors(). */
    bool (*supported)();

    /**
     * For every offset below kOffsetCount and below \a firstCount: adds to errors[offset] the
     * number of differing bits of the pairs (first[offset + k], second[k]), for all k for which
     * both have a word. The other elements do not change. Sums wrap around at 32 bits.
     *
     * The alignments of a long fingerprint can be counted a run of words at a time: the words from
     * p to p + n of \a second are called with first + p and at most n + kOffsetCount - 1 words.
     *
     * Requires: kOffsetCount \a errors; supported(). No alignment beyond that of a word.
     * Thread: Any thread. Allocates nothing.
     */
    void (*addErrors)(const std::uint32_t* first, std::size_t firstCount,
                      const std::uint32_t* second, std::size_t secondCount, std::uint32_t* errors);

    /**
     * Returns by how much the counts of \a blockCount blocks are below the \a least or above the \a
     * most at the same positions, summed up over blocks and bits. Once the sum exceeds \a allowed,
     * the other blocks may be left out.
     *
     * Requires: supported(), and a sum that fits into 32 bits. Thread: Any thread.
     */
    std::uint32_t (*errorsOutside)(const BitCounts* counts, const BitCounts* least,
                                   const BitCounts* most, std::size_t blockCount,
                                   std::uint32_t allowed);
};

/** Four lookups in popcnt_table_8bit a word: the definition. Runs on every processor. */
extern const SimilarityKernel kTableKernel;

/** std::popcount() word by word, which compilers make a vector instruction on Arm. */
extern const SimilarityKernel kPopcountKernel;

#ifdef QUORVEL_X86_KERNELS
/** The instruction POPCNT, two words at a time; every processor since 2008 has it. */
extern const SimilarityKernel kPopcntKernel;

/** 256-bit registers: carry-save adders, and nibble lookups for the rest. */
extern const SimilarityKernel kAvx2Kernel;

/** 512-bit registers and VPOPCNTDQ. */
extern const SimilarityKernel kAvx512Kernel;
#endif

} // namespace compare
