// Compiled with -mavx2. No header here may bring inline functions: see similaritykernel.h.
#include "compare/errorsoutside.h"
#include "compare/similaritykernel.h"

#include <immintrin.h>

#define QUORVEL_INLINE [[gnu::always_inline]] inline

namespace compare {

namespace {

constexpr std::size_t kVectorWords = 8;
constexpr std::size_t kBlockVectors = 16;
constexpr std::size_t kBlockWords = kBlockVectors * kVectorWords;

bool supported()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

QUORVEL_INLINE __m256i load(const std::uint32_t* words)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words));
}

/** The number of set bits of each quarter of \a bits, by two lookups of a nibble for each byte. */
QUORVEL_INLINE __m256i popcount(__m256i bits)
{
    const __m256i nibbleCounts = _mm256_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, //
                                                  0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
    const __m256i nibble = _mm256_set1_epi8(0x0F);
    const __m256i low = _mm256_and_si256(bits, nibble);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(bits, 4), nibble);
    const __m256i bytes = _mm256_add_epi8(_mm256_shuffle_epi8(nibbleCounts, low),
                                          _mm256_shuffle_epi8(nibbleCounts, high));
    return _mm256_sad_epu8(bytes, _mm256_setzero_si256());
}

/** A full adder on every bit: returns the carries of \a sum + \a a + \a b and keeps their sum. */
QUORVEL_INLINE __m256i addWithCarry(__m256i& sum, __m256i a, __m256i b)
{
    const __m256i different = _mm256_xor_si256(a, b);
    const __m256i carry = _mm256_or_si256(_mm256_and_si256(a, b), _mm256_and_si256(different, sum));
    sum = _mm256_xor_si256(sum, different);
    return carry;
}

/**
 * Counts set bits in the manner of Harley and Seal: bits of equal weight are added three to two by
 * full adders, so that only one vector in sixteen is left to be counted by lookups.
 */
struct BitCounter
{
    __m256i ones = _mm256_setzero_si256();
    __m256i twos = _mm256_setzero_si256();
    __m256i fours = _mm256_setzero_si256();
    __m256i eights = _mm256_setzero_si256();
    __m256i sixteens = _mm256_setzero_si256(); // counted already: four numbers
};

/** Four vectors of differing bits; returns the carries of weight four. */
QUORVEL_INLINE __m256i addFour(BitCounter& counter, const std::uint32_t* first,
                               const std::uint32_t* second)
{
    const auto different = [first, second](std::size_t vector) {
        return _mm256_xor_si256(load(first + vector * kVectorWords),
                                load(second + vector * kVectorWords));
    };
    const __m256i twosA = addWithCarry(counter.ones, different(0), different(1));
    const __m256i twosB = addWithCarry(counter.ones, different(2), different(3));
    return addWithCarry(counter.twos, twosA, twosB);
}

QUORVEL_INLINE __m256i addEight(BitCounter& counter, const std::uint32_t* first,
                                const std::uint32_t* second)
{
    constexpr std::size_t kHalf = 4 * kVectorWords;
    const __m256i foursA = addFour(counter, first, second);
    const __m256i foursB = addFour(counter, first + kHalf, second + kHalf);
    return addWithCarry(counter.fours, foursA, foursB);
}

QUORVEL_INLINE void addBlock(BitCounter& counter, const std::uint32_t* first,
                             const std::uint32_t* second)
{
    constexpr std::size_t kHalf = kBlockWords / 2;
    const __m256i eightsA = addEight(counter, first, second);
    const __m256i eightsB = addEight(counter, first + kHalf, second + kHalf);
    const __m256i carry = addWithCarry(counter.eights, eightsA, eightsB);
    counter.sixteens = _mm256_add_epi64(counter.sixteens, popcount(carry));
}

/** What the counter has counted, as four numbers to be added up. */
QUORVEL_INLINE __m256i total(const BitCounter& counter)
{
    __m256i sum = _mm256_slli_epi64(counter.sixteens, 1);
    sum = _mm256_slli_epi64(_mm256_add_epi64(sum, popcount(counter.eights)), 1);
    sum = _mm256_slli_epi64(_mm256_add_epi64(sum, popcount(counter.fours)), 1);
    sum = _mm256_slli_epi64(_mm256_add_epi64(sum, popcount(counter.twos)), 1);
    return _mm256_add_epi64(sum, popcount(counter.ones));
}

/** A mask of the first \a count of the eight words of a vector. */
__m256i firstWords(std::size_t count)
{
    return _mm256_cmpgt_epi32(_mm256_set1_epi32(static_cast<int>(count)),
                              _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

__m256i loadMasked(const std::uint32_t* words, __m256i mask)
{
    return _mm256_maskload_epi32(reinterpret_cast<const int*>(words), mask);
}

/** popcount() of the differing bits of the first \a count words, at most eight. */
QUORVEL_INLINE __m256i maskedErrors(const std::uint32_t* first, const std::uint32_t* second,
                                    std::size_t count)
{
    const __m256i mask = firstWords(count);
    return popcount(_mm256_xor_si256(loadMasked(first, mask), loadMasked(second, mask)));
}

/** The number of words before \a words reaches the boundary of a vector. */
std::size_t wordsToBoundary(const std::uint32_t* words)
{
    constexpr std::size_t kVectorBytes = kVectorWords * sizeof(std::uint32_t);
    const std::size_t bytesBeyond = reinterpret_cast<std::uintptr_t>(words) % kVectorBytes;
    return (kVectorBytes - bytesBeyond) % kVectorBytes / sizeof(std::uint32_t);
}

/** The number of differing bits of \a count word pairs, modulo 2^32. */
std::uint32_t bitErrors(const std::uint32_t* first, const std::uint32_t* second, std::size_t count)
{
    BitCounter counter;
    std::size_t k = wordsToBoundary(second);
    k = k < count ? k : count;
    __m256i sum = maskedErrors(first, second, k);
    for (; k + kBlockWords <= count; k += kBlockWords) {
        addBlock(counter, first + k, second + k);
    }
    sum = _mm256_add_epi64(sum, total(counter));
    for (; k + kVectorWords <= count; k += kVectorWords) {
        sum = _mm256_add_epi64(sum, popcount(_mm256_xor_si256(load(first + k), load(second + k))));
    }
    sum = _mm256_add_epi64(sum, maskedErrors(first + k, second + k, count - k));
    const __m128i half =
        _mm_add_epi64(_mm256_castsi256_si128(sum), _mm256_extracti128_si256(sum, 1));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(half)) +
           static_cast<std::uint32_t>(_mm_extract_epi32(half, 2));
}

void addErrors(const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
               std::size_t secondCount, std::uint32_t* errors)
{
    for (std::size_t offset = 0; offset < kOffsetCount && offset < firstCount; ++offset) {
        const std::size_t rest = firstCount - offset;
        errors[offset] +=
            bitErrors(first + offset, second, rest < secondCount ? rest : secondCount);
    }
}

} // namespace

const SimilarityKernel kAvx2Kernel = {"avx2", &supported, &addErrors, &errorsOutsideAvx2};

} // namespace compare
