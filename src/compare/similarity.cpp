#include "compare/similarity.h"

#include <algorithm>
#include <cstdint>

// clang-format off
const int popcnt_table_8bit[256] = {
    0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7, 4, 5, 5, 6, 5, 6, 6, 7, 5, 6, 6, 7, 6, 7, 7, 8,
};
// clang-format on

namespace {

/** Shifts beyond this one are not tried: about five seconds of audio. */
constexpr qsizetype kLastOffset = 39;
constexpr double kBitsPerWord = 32.0;

int popcntOfWord(std::uint32_t word)
{
    return popcnt_table_8bit[word & 0xFF] + popcnt_table_8bit[(word >> 8) & 0xFF] +
           popcnt_table_8bit[(word >> 16) & 0xFF] + popcnt_table_8bit[word >> 24];
}

/** The number of differing bits of \a count word pairs. */
int bitErrors(const unsigned int* first, const unsigned int* second, int count)
{
    // A sum of more than 67 million wholly different words would leave the range of int: it wraps
    // around, unsigned on the way so that this is defined.
    std::uint32_t errors = 0;
    for (int k = 0; k < count; ++k) {
        errors += static_cast<std::uint32_t>(popcntOfWord(first[k] ^ second[k]));
    }
    return static_cast<int>(errors);
}

/** The whole part of 100 * (1 - 2 * BER), not below 0; no words give 0. */
int percentage(int errors, int wordCount)
{
    // The order of these operations decides the last bit, and with it the truncated percentage.
    const double ratio =
        (2.0 * static_cast<double>(errors)) / (static_cast<double>(wordCount) * kBitsPerWord);
    const double score = 1.0 - ratio;
    // 0/0 for no words is not a number and fails the comparison as well.
    return score > 0.0 ? static_cast<int>(score * 100.0) : 0;
}

} // namespace

int popcnt(int value)
{
    return popcntOfWord(static_cast<std::uint32_t>(value));
}

int getSimilarity(const QList<unsigned int>& first, const QList<unsigned int>& second)
{
    if (first.isEmpty()) {
        return 0;
    }
    int best = 0;
    for (qsizetype offset = 0; offset < first.size() && offset <= kLastOffset; ++offset) {
        const int count = static_cast<int>(std::min(first.size() - offset, second.size()));
        const int errors = bitErrors(first.constData() + offset, second.constData(), count);
        best = std::max(best, percentage(errors, count));
    }
    return best;
}
