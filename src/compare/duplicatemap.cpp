#include "compare/duplicatemap.h"

#include "compare/similarity.h"

#include <algorithm>

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

int recordSimilarity(const FingerprintRecord& first, const FingerprintRecord& second)
{
    const auto& [firstPath, firstWords, firstDurationMs, firstRate, firstChannels] = first;
    const auto& [secondPath, secondWords, secondDurationMs, secondRate, secondChannels] = second;
    if (!durationsComparable(firstDurationMs, secondDurationMs)) {
        return 0;
    }
    // getSimilarity() shifts its first argument only; the recording that starts later may be
    // either.
    return std::max(getSimilarity(firstWords, secondWords), getSimilarity(secondWords, firstWords));
}

void addIfDuplicate(DuplicateMap& duplicates, const QString& referencePath,
                    const QString& matchPath, int similarity, int threshold)
{
    if (similarity >= threshold) {
        duplicates[referencePath].append({matchPath, similarity});
    }
}

} // namespace compare
