#pragma once

#include <QList>

#include <limits>

namespace compare {

/**
 * getSimilarity(\a first, \a second) whenever that is at least \a threshold percent, and some value
 * below \a threshold otherwise. For callers that drop what lies below a threshold known beforehand:
 * an alignment is given up as soon as its errors rule the threshold out, which for unrelated
 * recordings is long before its end.
 *
 * A \a threshold of 0 or less is reached by everything and gives getSimilarity(); one above 100 is
 * reached by nothing.
 *
 * Thread: any thread. Reentrant: allocates nothing, writes nothing.
 */
int getSimilarityAtLeast(const QList<unsigned int>& first, const QList<unsigned int>& second,
                         int threshold);

/**
 * The most bits of \a wordCount overlapping words that may differ for them to be at least \a
 * threshold percent alike: what the measure itself answers for that many errors decides, not the
 * formula solved for them. Never falls with \a wordCount. Requires: a threshold of 1 to 100, and 1
 * to kMostBoundedWords words. Reentrant.
 */
int largestErrorCount(int wordCount, int threshold);

/** With more words than these a number of errors may not fit into 31 bits, and sums wrap around. */
inline constexpr int kMostBoundedWords = std::numeric_limits<int>::max() / 32;

} // namespace compare
