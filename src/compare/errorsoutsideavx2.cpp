// Compiled with -O3 -mavx2. No header here may bring inline functions: see similaritykernel.h.
#include "compare/errorsoutside.h"

namespace compare {

std::uint32_t errorsOutsideAvx2(const BitCounts* counts, const BitCounts* least,
                                const BitCounts* most, std::size_t blockCount,
                                std::uint32_t allowed)
{
    return sumOutsideUpTo(counts, least, most, blockCount, allowed);
}

} // namespace compare
