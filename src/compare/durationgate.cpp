#include "compare/durationgate.h"

namespace compare {

bool durationsComparable(int firstMs, int secondMs)
{
    // Durations are claims of other people's files, so the difference may leave the range of int:
    // it wraps around. -2^31, which has no positive counterpart, stays negative and passes.
    const auto difference =
        static_cast<int>(static_cast<unsigned>(firstMs) - static_cast<unsigned>(secondMs));
    const int magnitude =
        difference < 0 ? static_cast<int>(0U - static_cast<unsigned>(difference)) : difference;
    return magnitude <= kLargestDurationDifferenceMs;
}

} // namespace compare
