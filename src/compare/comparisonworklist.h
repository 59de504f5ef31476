#pragma once

#include <QList>
#include <QtGlobal>

#include <optional>
#include <stop_token>
#include <utility>

namespace compare {

/** (index into the first record list, index into the second). */
using IndexPair = std::pair<int, int>;

/** The number of pairs of every one of \a firstCount with every one of \a secondCount. */
qint64 betweenGroupsPairCount(qint64 firstCount, qint64 secondCount);

/** The number of unordered pairs of distinct positions among \a count. */
qint64 withinGroupPairCount(qint64 count);

/**
 * Every (i, j) with i < \a firstCount and j < \a secondCount, i ascending, then j.
 * Requires: comparisonFits() for their number. A requested stop returns early with a part of them.
 * Errors: no value when the memory for the list cannot be had after all.
 * Thread: any thread, blocking. Reentrant.
 */
std::optional<QList<IndexPair>> betweenGroupsPairs(int firstCount, int secondCount,
                                                   const std::stop_token& stop = {});

/**
 * Every (i, j) with i < j < \a count, i ascending, then j.
 * Requires: comparisonFits() for their number. A requested stop returns early with a part of them.
 * Errors: no value when the memory for the list cannot be had after all.
 * Thread: any thread, blocking. Reentrant.
 */
std::optional<QList<IndexPair>> withinGroupPairs(int count, const std::stop_token& stop = {});

/**
 * Whether a work list of \a pairCount pairs can be run: the concurrent framework counts items in
 * int and would silently skip a longer list, and the list, at sizeof(IndexPair) bytes a pair, must
 * fit into \a availableBytes of memory (no value: not known, taken as enough).
 * Reentrant.
 */
bool comparisonFits(qint64 pairCount, std::optional<qint64> availableBytes);

/**
 * The memory that the machine could give to this process now without swapping, in bytes; no value
 * where the platform does not tell. Thread: any thread.
 */
std::optional<qint64> availableMemoryBytes();

/** For tests: makes availableMemoryBytes() answer \a bytes; no value restores the real answer. */
void setAvailableMemoryForTests(std::optional<qint64> bytes);

} // namespace compare
