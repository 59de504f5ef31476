#pragma once

#include "fingerprint/fingerprintrecord.h"

namespace compare {

/**
 * The similarity of two files in percent: 0 when durationsComparable() refuses their durations,
 * else the larger of getSimilarity() in both directions.
 * Thread: Any thread.
 */
int recordSimilarity(const FingerprintRecord& first, const FingerprintRecord& second);

/**
 * recordSimilarity() whenever that is at least \a threshold percent, and some value below \a
 * threshold otherwise, which is found faster: see getSimilarityAtLeast().
 * Thread: Any thread.
 */
int recordSimilarityAtLeast(const FingerprintRecord& first, const FingerprintRecord& second,
                            int threshold);

} // namespace compare
