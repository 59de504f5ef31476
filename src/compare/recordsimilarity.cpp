#include "compare/recordsimilarity.h"

#include "compare/durationgate.h"
#include "compare/similarity.h"

#include <algorithm>

namespace compare {

int recordSimilarity(const FingerprintRecord& first, const FingerprintRecord& second)
{
    // Every pair reaches 0, so every value is exact.
    return recordSimilarityAtLeast(first, second, 0);
}

int recordSimilarityAtLeast(const FingerprintRecord& first, const FingerprintRecord& second,
                            int threshold)
{
    const auto& [firstPath, firstWords, firstDurationMs, firstRate, firstChannels] = first;
    const auto& [secondPath, secondWords, secondDurationMs, secondRate, secondChannels] = second;
    if (!durationsComparable(firstDurationMs, secondDurationMs)) {
        return 0;
    }
    // The measure shifts its first argument only; the recording that starts later may be either.
    return std::max(getSimilarityAtLeast(firstWords, secondWords, threshold),
                    getSimilarityAtLeast(secondWords, firstWords, threshold));
}

} // namespace compare
