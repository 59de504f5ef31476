#pragma once

#include <QList>

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

} // namespace compare
