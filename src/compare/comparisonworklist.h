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
 * Errors: no value if the memory for the list cannot be allocated.
 * Thread: Any thread, blocking.
 */
std::optional<QList<IndexPair>> betweenGroupsPairs(int firstCount, int secondCount,
                                                   const std::stop_token& stop = {});

/**
 * Every (i, j) with i < j < \a count, i ascending, then j.
 * Requires: comparisonFits() for their number. A requested stop returns early with a part of them.
 * Errors: no value if the memory for the list cannot be allocated.
 * Thread: Any thread, blocking.
 */
std::optional<QList<IndexPair>> withinGroupPairs(int count, const std::stop_token& stop = {});

/**
 * Whether a work list of \a pairCount pairs can be run. The concurrent framework counts items in
 * int and silently skips a longer list. At sizeof(IndexPair) bytes a pair, the list must fit into
 * \a availableBytes of memory (no value: unknown, taken as enough). Thread: Any thread.
 */
bool comparisonFits(qint64 pairCount, std::optional<qint64> availableBytes);

/**
 * The memory that this process can get now without swapping, in bytes; no value if the platform
 * does not state it. Thread: Any thread.
 */
std::optional<qint64> availableMemoryBytes();

/** For tests: makes availableMemoryBytes() return \a bytes; no value restores the real one. */
void setAvailableMemoryForTests(std::optional<qint64> bytes);

} // namespace compare
