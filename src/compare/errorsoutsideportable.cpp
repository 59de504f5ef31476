// Compiled with -O3, without which compilers use no vectors.
#include "compare/errorsoutside.h"

namespace compare {

std::uint32_t errorsOutsidePortable(const BitCounts* counts, const BitCounts* least,
                                    const BitCounts* most, std::size_t blockCount,
                                    std::uint32_t allowed)
{
    return sumOutsideUpTo(counts, least, most, blockCount, allowed);
}

} // namespace compare
