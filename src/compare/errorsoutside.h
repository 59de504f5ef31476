#pragma once

#include "compare/similaritykernel.h"

/**
 * SimilarityKernel::errorsOutside. Each of its sources compiles this body for the registers of one
 * kind of processor; compilers make three vector instructions of a step.
 */
namespace compare {

std::uint32_t errorsOutsidePortable(const BitCounts* counts, const BitCounts* least,
                                    const BitCounts* most, std::size_t blockCount,
                                    std::uint32_t allowed);
#ifdef QUORVEL_X86_KERNELS
std::uint32_t errorsOutsideAvx2(const BitCounts* counts, const BitCounts* least,
                                const BitCounts* most, std::size_t blockCount,
                                std::uint32_t allowed);
std::uint32_t errorsOutsideAvx512(const BitCounts* counts, const BitCounts* least,
                                  const BitCounts* most, std::size_t blockCount,
                                  std::uint32_t allowed);
#endif

namespace {

/** Blocks that are summed up before the sum is compared. */
constexpr std::size_t kBlocksAtOnce = 8;

[[gnu::always_inline]] inline std::uint32_t sumOutside(const BitCounts* counts,
                                                       const BitCounts* least,
                                                       const BitCounts* most,
                                                       std::size_t blockCount)
{
    if (blockCount == 0) {
        return 0; // the pointers may be null
    }
    const std::uint8_t* const count = counts->ofBit;
    const std::uint8_t* const low = least->ofBit;
    const std::uint8_t* const high = most->ofBit;
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < blockCount * kBitsPerWord; ++i) {
        const std::uint8_t raised = count[i] < low[i] ? low[i] : count[i];
        const std::uint8_t within = raised > high[i] ? high[i] : raised;
        const int outside = count[i] - within;
        sum += static_cast<std::uint32_t>(outside < 0 ? -outside : outside);
    }
    return sum;
}

[[gnu::always_inline]] inline std::uint32_t
sumOutsideUpTo(const BitCounts* counts, const BitCounts* least, const BitCounts* most,
               std::size_t blockCount, std::uint32_t allowed)
{
    std::uint32_t sum = 0;
    std::size_t block = 0;
    for (; block + kBlocksAtOnce <= blockCount && sum <= allowed; block += kBlocksAtOnce) {
        sum += sumOutside(counts + block, least + block, most + block, kBlocksAtOnce);
    }
    return sum <= allowed
               ? sum + sumOutside(counts + block, least + block, most + block, blockCount - block)
               : sum;
}

} // namespace

} // namespace compare
