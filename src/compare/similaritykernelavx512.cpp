// Compiled with -mavx512f -mavx512vpopcntdq. No header here may bring inline functions: see
// similaritykernel.h.
//
// Two execution ports take 512-bit operations, and counting each alignment by itself costs three of
// them for sixteen words: xor, popcount, add. Alignments that are sixteen words apart share their
// vectors (vector i + 1 of the first fingerprint meets vector i + 1 of the second at one offset and
// vector i at the other), and that makes some of the counting superfluous: their sums and
// differences take fewer popcounts than they do, with the three-input logic instruction to form
// what is counted. Two alignments take 9 operations for 12, three take 14 for 18, and an unaligned
// load, which is dear when it crosses a cache line, serves two or three alignments.
#include "compare/errorsoutside.h"
#include "compare/similaritykernel.h"

#include <immintrin.h>

#define QUORVEL_INLINE [[gnu::always_inline]] inline
#define QUORVEL_UNROLL _Pragma("GCC unroll 16")
// For the loops that take most of the time: GCC 12 keeps less of them in registers when it knows
// their callers.
#ifdef __clang__
#define QUORVEL_HOT [[gnu::noinline]]
#else
#define QUORVEL_HOT [[gnu::noipa]]
#endif

// NOLINTBEGIN(modernize-avoid-c-arrays): the standard's array brings inline functions

namespace compare {

namespace {

constexpr std::size_t kVectorWords = 16;
/** The loops take two vectors of the second fingerprint at a time. */
constexpr std::size_t kStepWords = 2 * kVectorWords;
/** Offsets that are counted in one loop: as many as the registers hold. */
constexpr std::size_t kGroup = 4;
/** The offsets 0 to 7 have a partner 16 and another 32 further on, 8 to 15 only the first. */
constexpr std::size_t kTripleCount = kOffsetCount - 2 * kVectorWords;

// The truth tables of the three operands of the logic instruction; that of an expression is the
// same expression of them.
constexpr int kA = 0xF0;
constexpr int kB = 0xCC;
constexpr int kC = 0xAA;
constexpr int kTableMask = 0xFF;

bool supported()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512vpopcntdq") != 0;
}

QUORVEL_INLINE __m512i load(const std::uint32_t* words)
{
    return _mm512_loadu_si512(words);
}

QUORVEL_INLINE __m512i add(__m512i a, __m512i b)
{
    return _mm512_add_epi32(a, b);
}

QUORVEL_INLINE __m512i subtract(__m512i a, __m512i b)
{
    return _mm512_sub_epi32(a, b);
}

QUORVEL_INLINE __m512i twice(__m512i a)
{
    return _mm512_slli_epi32(a, 1);
}

QUORVEL_INLINE __m512i addPopcount(__m512i sum, __m512i bits)
{
    return add(sum, _mm512_popcnt_epi32(bits));
}

QUORVEL_INLINE __m512i xorOfThree(__m512i a, __m512i b, __m512i c)
{
    return _mm512_ternarylogic_epi32(a, b, c, (kA ^ kB ^ kC) & kTableMask);
}

/** \a a ^ \a c where \a a and \a b are equal, \a a elsewhere. */
QUORVEL_INLINE __m512i xorWhereEqual(__m512i a, __m512i b, __m512i c)
{
    return _mm512_ternarylogic_epi32(a, b, c, (kA ^ (~(kA ^ kB) & kC)) & kTableMask);
}

/** \a a ^ \a c where \a a and \a b differ, \a a elsewhere. */
QUORVEL_INLINE __m512i xorWhereDifferent(__m512i a, __m512i b, __m512i c)
{
    return _mm512_ternarylogic_epi32(a, b, c, (kA ^ ((kA ^ kB) & kC)) & kTableMask);
}

/** The sums of the elements of each of sixteen vectors. */
QUORVEL_INLINE __m512i sumsOfEach(const __m512i (&vectors)[kVectorWords])
{
    __m512i halves[8];
    QUORVEL_UNROLL
    for (std::size_t i = 0; i < 8; ++i) {
        halves[i] = add(_mm512_unpacklo_epi32(vectors[2 * i], vectors[2 * i + 1]),
                        _mm512_unpackhi_epi32(vectors[2 * i], vectors[2 * i + 1]));
    }
    __m512i quarters[4]; // sums of four vectors side by side, in each 128 bits
    QUORVEL_UNROLL
    for (std::size_t i = 0; i < 4; ++i) {
        quarters[i] = add(_mm512_unpacklo_epi64(halves[2 * i], halves[2 * i + 1]),
                          _mm512_unpackhi_epi64(halves[2 * i], halves[2 * i + 1]));
    }
    const __m512i low = add(_mm512_shuffle_i32x4(quarters[0], quarters[1], 0x44),
                            _mm512_shuffle_i32x4(quarters[0], quarters[1], 0xEE));
    const __m512i high = add(_mm512_shuffle_i32x4(quarters[2], quarters[3], 0x44),
                             _mm512_shuffle_i32x4(quarters[2], quarters[3], 0xEE));
    return add(_mm512_shuffle_i32x4(low, high, 0x88), _mm512_shuffle_i32x4(low, high, 0xDD));
}

QUORVEL_INLINE void addFour(std::uint32_t* errors, __m128i sums)
{
    auto* target = reinterpret_cast<__m128i*>(errors);
    _mm_storeu_si128(target, _mm_add_epi32(_mm_loadu_si128(target), sums));
}

/** Adds what the groups p, q, v and w of addTriples() come to; apart from it for the same reason.
 */
[[gnu::noinline]] void addTripleCounts(const __m512i (&counts)[4 * kGroup], std::uint32_t* errors)
{
    __m512i sums[kVectorWords];
    QUORVEL_UNROLL
    for (std::size_t j = 0; j < kGroup; ++j) {
        const __m512i p = counts[j];
        const __m512i q = counts[kGroup + j];
        const __m512i difference = subtract(p, q);
        sums[j] = add(twice(counts[2 * kGroup + j]), difference);
        sums[kGroup + j] = add(p, q);
        sums[2 * kGroup + j] = subtract(twice(counts[3 * kGroup + j]), difference);
        sums[3 * kGroup + j] = _mm512_setzero_si512();
    }
    const __m512i all = sumsOfEach(sums);
    addFour(errors, _mm512_extracti32x4_epi32(all, 0));
    addFour(errors + kVectorWords, _mm512_extracti32x4_epi32(all, 1));
    addFour(errors + 2 * kVectorWords, _mm512_extracti32x4_epi32(all, 2));
}

/**
 * The errors at the offsets j, j + 16 and j + 32 for j = 0 to 3, over \a count words, but for what
 * addTripleRemainders() adds.
 *
 * With f0 to f3 the four vectors of \a first and s0, s1 the two of \a second that meet in a step,
 * the three offsets need (f0^s0) + (f1^s1), (f1^s0) + (f2^s1) and (f2^s0) + (f3^s1). For each bit
 *
 *     p = f1 ^ s0 ^ ((s0^s1) & ~(f1^f2)),   q = f1 ^ s0 ^ (~(s0^s1) & (f1^f2)),
 *     v = f0 ^ (~(f0^f2) & s0),             w = f1 ^ (~(f1^f3) & s1)
 *
 * have  (f1^s0) + (f2^s1) = p + q,            (f1^s1) - (f2^s0) = p - q,
 *       (f0^s0) + (f2^s0) = 2v - f0 + f2,     (f1^s1) + (f3^s1) = 2w - f1 + f3,
 *
 * so four counts do for six. Left out here are f2 - f0 and f3 - f1, of which no more than the last
 * minus the first remains over all steps.
 *
 * Requires: \a count a multiple of kStepWords, 38 more words in \a first.
 */
QUORVEL_HOT void addTriples(const std::uint32_t* first, const std::uint32_t* second,
                            std::size_t count, std::uint32_t* errors)
{
    __m512i p[kGroup], q[kGroup], v[kGroup], w[kGroup], even[kGroup], odd[kGroup];
    QUORVEL_UNROLL
    for (std::size_t j = 0; j < kGroup; ++j) {
        p[j] = q[j] = v[j] = w[j] = _mm512_setzero_si512();
        even[j] = load(first + j);
        odd[j] = load(first + j + kVectorWords);
    }
    for (std::size_t k = 0; k < count; k += kStepWords) {
        const __m512i s0 = load(second + k);
        const __m512i s1 = load(second + k + kVectorWords);
        const __m512i s01 = _mm512_xor_si512(s0, s1);
        QUORVEL_UNROLL
        for (std::size_t j = 0; j < kGroup; ++j) {
            const __m512i f0 = even[j];
            const __m512i f1 = odd[j];
            const __m512i f2 = load(first + k + j + 2 * kVectorWords);
            const __m512i f3 = load(first + k + j + 3 * kVectorWords);
            const __m512i onlyS =
                _mm512_ternarylogic_epi32(s01, f1, f2, (kA & ~(kB ^ kC)) & kTableMask);
            const __m512i onlyF =
                _mm512_ternarylogic_epi32(s01, f1, f2, (~kA & (kB ^ kC)) & kTableMask);
            p[j] = addPopcount(p[j], xorOfThree(f1, s0, onlyS));
            q[j] = addPopcount(q[j], xorOfThree(f1, s0, onlyF));
            v[j] = addPopcount(v[j], xorWhereEqual(f0, f2, s0));
            w[j] = addPopcount(w[j], xorWhereEqual(f1, f3, s1));
            even[j] = f2;
            odd[j] = f3;
        }
    }
    const __m512i counts[4 * kGroup] = {p[0], p[1], p[2], p[3], q[0], q[1], q[2], q[3],
                                        v[0], v[1], v[2], v[3], w[0], w[1], w[2], w[3]};
    addTripleCounts(counts, errors);
}

/** What addTriples() leaves out, for the offsets 0 to 7 and 32 to 39. */
void addTripleRemainders(const std::uint32_t* first, std::size_t count, std::uint32_t* errors)
{
    const auto rise = [count](const std::uint32_t* words) {
        return subtract(_mm512_popcnt_epi32(load(words + count)), _mm512_popcnt_epi32(load(words)));
    };
    __m512i sums[kVectorWords];
    QUORVEL_UNROLL
    for (std::size_t j = 0; j < kTripleCount; ++j) {
        sums[j] = rise(first + j);
        sums[kTripleCount + j] = rise(first + j + kVectorWords);
    }
    const __m512i all = sumsOfEach(sums);
    addFour(errors, _mm512_extracti32x4_epi32(all, 0));
    addFour(errors + kGroup, _mm512_extracti32x4_epi32(all, 1));
    addFour(errors + kStepWords, _mm512_extracti32x4_epi32(all, 2));
    addFour(errors + kStepWords + kGroup, _mm512_extracti32x4_epi32(all, 3));
}

/**
 * The errors at the offsets j and j + 16 for j = 0 to 3, over \a count words, but for sums that the
 * offsets share and addPairRemainders() adds once for all.
 *
 * With the same names, the offsets need (f0^s0) + (f1^s1) and (f1^s0) + (f2^s1). For each bit
 *
 *     u = f0 ^ ((f0^f1) & s0),   v = f1 ^ ((f1^f2) & s1),   w = ~(s0^s1) & (f1^s0)
 *
 * have  (f0^s0) - (f1^s0) = 2u - f0 - f1,     (f1^s1) - (f2^s1) = 2v - f1 - f2,
 *       (f1^s0) + (f1^s1) = 2w + (s0^s1),
 *
 * so three counts do for four. Left out here are (s0^s1) - f0 - f1 and (s0^s1) + f1 + f2.
 *
 * Requires: \a count a multiple of kStepWords, 19 more words in \a first.
 */
QUORVEL_HOT void addPairs(const std::uint32_t* first, const std::uint32_t* second,
                          std::size_t count, std::uint32_t* errors)
{
    __m512i u[kGroup], v[kGroup], w[kGroup], even[kGroup];
    QUORVEL_UNROLL
    for (std::size_t j = 0; j < kGroup; ++j) {
        u[j] = v[j] = w[j] = _mm512_setzero_si512();
        even[j] = load(first + j);
    }
    for (std::size_t k = 0; k < count; k += kStepWords) {
        const __m512i s0 = load(second + k);
        const __m512i s1 = load(second + k + kVectorWords);
        QUORVEL_UNROLL
        for (std::size_t j = 0; j < kGroup; ++j) {
            const __m512i f0 = even[j];
            const __m512i f1 = load(first + k + j + kVectorWords);
            const __m512i f2 = load(first + k + j + 2 * kVectorWords);
            u[j] = addPopcount(u[j], xorWhereDifferent(f0, f1, s0));
            v[j] = addPopcount(v[j], xorWhereDifferent(f1, f2, s1));
            const __m512i same =
                _mm512_ternarylogic_epi32(f1, s0, s1, (~(kB ^ kC) & (kA ^ kB)) & kTableMask);
            w[j] = addPopcount(w[j], same);
            even[j] = f2;
        }
    }
    __m512i sums[kVectorWords];
    QUORVEL_UNROLL
    for (std::size_t j = 0; j < kGroup; ++j) {
        sums[j] = twice(add(w[j], u[j]));
        sums[kGroup + j] = twice(subtract(w[j], v[j]));
        sums[2 * kGroup + j] = sums[3 * kGroup + j] = _mm512_setzero_si512();
    }
    const __m512i all = sumsOfEach(sums);
    addFour(errors, _mm512_extracti32x4_epi32(all, 0));
    addFour(errors + kVectorWords, _mm512_extracti32x4_epi32(all, 1));
}

std::uint32_t popcount(std::uint32_t word)
{
    return static_cast<std::uint32_t>(__builtin_popcount(word));
}

/** What addPairs() leaves out, for the offsets 8 to 15 and 24 to 31. */
void addPairRemainders(const std::uint32_t* first, const std::uint32_t* second, std::size_t count,
                       std::uint32_t* errors)
{
    __m512i firstBits = _mm512_setzero_si512();
    __m512i secondChanges = _mm512_setzero_si512();
    for (std::size_t k = 0; k < count; k += kStepWords) {
        firstBits = addPopcount(firstBits, load(first + k + kTripleCount));
        firstBits = addPopcount(firstBits, load(first + k + kTripleCount + kVectorWords));
        secondChanges = addPopcount(
            secondChanges, _mm512_xor_si512(load(second + k), load(second + k + kVectorWords)));
    }
    const auto changes = static_cast<std::uint32_t>(_mm512_reduce_add_epi32(secondChanges));
    // The bits of the count words that begin at the offset.
    auto bits = static_cast<std::uint32_t>(_mm512_reduce_add_epi32(firstBits));
    for (std::size_t offset = kTripleCount; offset < kStepWords; ++offset) {
        if (offset < kVectorWords) {
            errors[offset] += changes - bits;
        } else if (offset >= kVectorWords + kTripleCount) {
            errors[offset] += changes + bits;
        }
        bits += popcount(first[offset + count]) - popcount(first[offset]);
    }
}

/** A mask of the first \a count of the sixteen words of a vector, or of all. */
QUORVEL_INLINE __mmask16 firstWords(std::size_t count)
{
    constexpr unsigned kAllWords = 0xFFFF;
    return static_cast<__mmask16>(count < kVectorWords ? (1U << count) - 1U : kAllWords);
}

/** The words of the second fingerprint from begin to end. */
struct WordRange
{
    std::size_t begin;
    std::size_t end;
};

/**
 * The errors at the offsets 0 to kOffsets - 1, each over the pairs that it has outside \a done, in
 * which every offset has a pair for every word.
 */
template <std::size_t kOffsets>
void addRest(const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
             std::size_t secondCount, WordRange done, std::uint32_t* errors)
{
    __m512i sums[kVectorWords];
    QUORVEL_UNROLL
    for (__m512i& sum : sums) {
        sum = _mm512_setzero_si512();
    }
    const auto addVector = [&](std::size_t offset, std::size_t k, __mmask16 mask, __m512i s) {
        const __m512i f = _mm512_maskz_loadu_epi32(mask, first + offset + k);
        sums[offset] = addPopcount(sums[offset], _mm512_maskz_xor_epi32(mask, f, s));
    };
    for (std::size_t k = 0; k < done.begin; k += kVectorWords) {
        const __mmask16 mask = firstWords(done.begin - k);
        const __m512i s = _mm512_maskz_loadu_epi32(mask, second + k);
        QUORVEL_UNROLL
        for (std::size_t offset = 0; offset < kOffsets; ++offset) {
            addVector(offset, k, mask, s);
        }
    }
    const auto pairCount = [firstCount, secondCount](std::size_t offset) {
        const std::size_t rest = offset < firstCount ? firstCount - offset : 0;
        return rest < secondCount ? rest : secondCount;
    };
    const std::size_t longest = pairCount(0);
    for (std::size_t k = done.end; k < longest; k += kVectorWords) {
        const __m512i s = _mm512_maskz_loadu_epi32(firstWords(longest - k), second + k);
        QUORVEL_UNROLL
        for (std::size_t offset = 0; offset < kOffsets; ++offset) {
            const std::size_t count = pairCount(offset);
            addVector(offset, k, firstWords(count > k ? count - k : 0), s);
        }
    }
    const __mmask16 wanted = firstWords(kOffsets);
    _mm512_mask_storeu_epi32(errors, wanted,
                             add(_mm512_maskz_loadu_epi32(wanted, errors), sumsOfEach(sums)));
}

/**
 * The words for which every offset has a pair, in whole steps, from a boundary of a cache line on
 * where \a second has one.
 */
WordRange commonSteps(std::size_t firstCount, const std::uint32_t* second, std::size_t secondCount)
{
    constexpr std::size_t kVectorBytes = kVectorWords * sizeof(std::uint32_t);
    const std::size_t bytesBeyond = reinterpret_cast<std::uintptr_t>(second) % kVectorBytes;
    const std::size_t begin = (kVectorBytes - bytesBeyond) % kVectorBytes / sizeof(std::uint32_t);
    const std::size_t rest = firstCount < kOffsetCount ? 0 : firstCount - (kOffsetCount - 1);
    const std::size_t common = rest < secondCount ? rest : secondCount;
    if (common < begin + kStepWords) {
        return {0, 0};
    }
    return {begin, begin + (common - begin) / kStepWords * kStepWords};
}

/** The errors at all offsets over \a count words. Requires: what addTriples() requires. */
void addSteps(const std::uint32_t* first, const std::uint32_t* second, std::size_t count,
              std::uint32_t* errors)
{
    for (std::size_t offset = 0; offset < kTripleCount; offset += kGroup) {
        addTriples(first + offset, second, count, errors + offset);
    }
    for (std::size_t offset = kTripleCount; offset < kVectorWords; offset += kGroup) {
        addPairs(first + offset, second, count, errors + offset);
    }
    addTripleRemainders(first, count, errors);
    addPairRemainders(first, second, count, errors);
}

void addErrors(const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
               std::size_t secondCount, std::uint32_t* errors)
{
    const WordRange steps = commonSteps(firstCount, second, secondCount);
    if (steps.begin < steps.end) {
        addSteps(first + steps.begin, second + steps.begin, steps.end - steps.begin, errors);
    }
    const auto from = [firstCount](std::size_t offset) {
        return offset < firstCount ? firstCount - offset : 0;
    };
    addRest<kVectorWords>(first, firstCount, second, secondCount, steps, errors);
    addRest<kVectorWords>(first + kVectorWords, from(kVectorWords), second, secondCount, steps,
                          errors + kVectorWords);
    addRest<kTripleCount>(first + kStepWords, from(kStepWords), second, secondCount, steps,
                          errors + kStepWords);
}

} // namespace

const SimilarityKernel kAvx512Kernel = {"avx512", &supported, &addErrors, &errorsOutsideAvx512};

} // namespace compare

// NOLINTEND(modernize-avoid-c-arrays)
