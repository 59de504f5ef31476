#pragma once

#include "compare/duplicatemap.h"
#include "fingerprint/fingerprintrecord.h"

#include <QList>

#include <functional>
#include <stop_token>

namespace search {

/** The options of a comparison. */
struct ComparisonOptions
{
    /** The least similarity of a duplicate in percent. At 0 or less every pair is a duplicate. */
    int threshold = 0;
    int threadCount = 1;
    /** If set, called about five times a second and at the end. */
    std::function<void(qsizetype done, qsizetype all)> progress;
    /** A requested stop ends the comparison between two pairs. */
    std::stop_token stop;
    /** Whether a bound may rule pairs out first. The result is the same. For tests. */
    bool boundFirst = true;
};

/** The result of a comparison. */
struct Comparison
{
    /** The entries of a key are in the order of the records. Empty if stopped. */
    DuplicateMap duplicates;
    /** The number of pairs that durations did not rule out. */
    qint64 comparedPairs = 0;
    /** The number of these that the bound did not rule out. */
    qint64 scannedPairs = 0;
};

/**
 * Compares every record of \a first with every one of \a second. Gives the same as
 * compare::recordSimilarity() of each pair and compare::addIfDuplicate() in the order of the
 * records, without visiting the pairs that durations rule out. Uses memory for the records and the
 * duplicates, not for the pairs.
 *
 * Errors: throws std::bad_alloc.
 * Thread: Any thread, blocking. \a options.progress is called in it.
 */
Comparison compareBetween(const QList<FingerprintRecord>& first,
                          const QList<FingerprintRecord>& second, const ComparisonOptions& options);

/** As compareBetween(), for each record with every later one of the same list. */
Comparison compareWithin(const QList<FingerprintRecord>& records, const ComparisonOptions& options);

} // namespace search
