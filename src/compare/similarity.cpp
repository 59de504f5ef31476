#include "compare/similarity.h"

#include "compare/similaritykernels.h"
#include "compare/similaritypercentage.h"

#include <algorithm>
#include <array>
#include <cstdint>

// clang-format off
// NOLINTNEXTLINE(modernize-avoid-c-arrays): as declared
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

int popcnt(int value)
{
    const auto word = static_cast<std::uint32_t>(value);
    return popcnt_table_8bit[word & 0xFF] + popcnt_table_8bit[(word >> 8) & 0xFF] +
           popcnt_table_8bit[(word >> 16) & 0xFF] + popcnt_table_8bit[word >> 24];
}

int getSimilarity(const QList<unsigned int>& first, const QList<unsigned int>& second)
{
    const auto firstCount = static_cast<std::size_t>(first.size());
    const auto secondCount = static_cast<std::size_t>(second.size());
    std::array<std::uint32_t, compare::kOffsetCount> errors{};
    compare::similarityKernel().addErrors(first.constData(), firstCount, second.constData(),
                                          secondCount, errors.data());
    int best = 0;
    for (std::size_t offset = 0; offset < std::min(firstCount, compare::kOffsetCount); ++offset) {
        const auto count = static_cast<int>(std::min(firstCount - offset, secondCount));
        // More than 67 million wholly different words leave the range of int: the sum wraps around.
        best =
            std::max(best, compare::similarityPercentage(static_cast<int>(errors[offset]), count));
    }
    return best;
}
