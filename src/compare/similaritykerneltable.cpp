#include "compare/errorsoutside.h"
#include "compare/similarity.h"
#include "compare/similaritykernel.h"

#include <algorithm>

namespace compare {

namespace {

bool supported()
{
    return true;
}

/** The number of differing bits of \a count word pairs, modulo 2^32. */
std::uint32_t bitErrors(const std::uint32_t* first, const std::uint32_t* second, std::size_t count)
{
    std::uint32_t errors = 0;
    for (std::size_t k = 0; k < count; ++k) {
        const std::uint32_t word = first[k] ^ second[k];
        errors += static_cast<std::uint32_t>(
            popcnt_table_8bit[word & 0xFF] + popcnt_table_8bit[(word >> 8) & 0xFF] +
            popcnt_table_8bit[(word >> 16) & 0xFF] + popcnt_table_8bit[word >> 24]);
    }
    return errors;
}

void addErrors(const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
               std::size_t secondCount, std::uint32_t* errors)
{
    for (std::size_t offset = 0; offset < std::min(firstCount, kOffsetCount); ++offset) {
        const std::size_t count = std::min(firstCount - offset, secondCount);
        errors[offset] += bitErrors(first + offset, second, count);
    }
}

} // namespace

const SimilarityKernel kTableKernel = {"table", &supported, &addErrors, &errorsOutsidePortable};

} // namespace compare
