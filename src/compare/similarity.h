#pragma once

#include <QList>

#include <limits>

/**
 * The measure. To exchange it, change three functions here, which all other code reaches through
 * recordsimilarity.h: getSimilarity(), its bounded form getSimilarityAtLeast(), and
 * largestErrorCount(), by which the search without a window rules pairs out (errorbound.h). The
 * kernels (similaritykernel.h) serve this measure alone. For a measure without bit errors
 * largestErrorCount() returns 32 times the number of words, which rules nothing out.
 */

/** The number of set bits of each byte value. */
// NOLINTNEXTLINE(modernize-avoid-c-arrays): the table is to be just its 256 numbers
extern const int popcnt_table_8bit[256];

/** The number of set bits of \a value, by four lookups in popcnt_table_8bit. */
int popcnt(int value);

/**
 * How alike two raw fingerprints are, as a whole percentage from 0 to 100.
 *
 * The words of \a second are laid against those of \a first, shifted by 0 to 39 words; at each
 * shift the value is the whole part of 100 * (1 - 2 * BER), not below 0, where BER is the bit error
 * rate of the overlapping words. The best value over the shifts is returned. Unrelated audio has a
 * bit error rate of about one half and gives 0.
 *
 * Only \a first is shifted, so the order of the arguments matters. A short overlap counts as much
 * as a long one. An empty list gives 0.
 *
 * Thread: Any thread. Allocates nothing.
 */
int getSimilarity(const QList<unsigned int>& first, const QList<unsigned int>& second);

namespace compare {

inline constexpr int kLargestSimilarity = 100;

/**
 * getSimilarity(\a first, \a second) whenever that is at least \a threshold percent, and some value
 * below \a threshold otherwise. For callers that drop what is below a threshold known beforehand:
 * an alignment is given up as soon as its errors rule the threshold out, which for unrelated
 * recordings is long before its end.
 *
 * A \a threshold of 0 or less is reached by every pair and gives getSimilarity(); one above 100 is
 * reached by none.
 *
 * Thread: Any thread. Allocates nothing.
 */
int getSimilarityAtLeast(const QList<unsigned int>& first, const QList<unsigned int>& second,
                         int threshold);

/**
 * The similarity of \a wordCount overlapping words of which \a errors bits differ: the whole part
 * of 100 * (1 - 2 * BER), not below 0, where BER is the bit error rate. No words give 0. Never
 * rises with \a errors, never falls with \a wordCount. Thread: Any thread.
 */
int similarityPercentage(int errors, int wordCount);

/** With more words than these a number of errors may not fit into 31 bits, and sums wrap around. */
inline constexpr int kMostBoundedWords = std::numeric_limits<int>::max() / 32;

/**
 * The most bits of \a wordCount overlapping words that may differ for them to be at least \a
 * threshold percent alike: what the measure itself answers for that many errors decides, not the
 * formula solved for them. Never falls with \a wordCount.
 * Requires: a threshold of 1 to 100, and 1 to kMostBoundedWords words.
 * Thread: Any thread.
 */
int largestErrorCount(int wordCount, int threshold);

} // namespace compare
