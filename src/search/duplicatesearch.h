#pragma once

#include "compare/duplicatemap.h"
#include "fingerprint/fingerprintrecord.h"

#include <QList>

#include <functional>
#include <stop_token>

namespace search {

/** How a comparison is run. */
struct ComparisonOptions
{
    /** The least similarity of a duplicate in percent. What is 0 or less makes every pair one. */
    int threshold = 0;
    int threadCount = 1;
    /** Called about five times a second, and at the end, with the number of records done of all,
     * where set. */
    std::function<void(qsizetype done, qsizetype all)> progress;
    /** A requested stop is answered between two pairs. */
    std::stop_token stop;
    /** Whether pairs are ruled out by a bound first. The result is the same; tests look. */
    bool boundFirst = true;
};

/** What a comparison found. */
struct Comparison
{
    /** Keys' entries stand in the order of the records. Empty when stopped. */
    DuplicateMap duplicates;
    /** How many pairs of fingerprints were compared; the others were ruled out by durations. */
    qint64 comparedPairs = 0;
    /** How many of these the bound did not rule out. */
    qint64 scannedPairs = 0;
};

/**
 * Compares every record of \a first with every one of \a second: what calculating
 * compare::recordSimilarity() of each pair and compare::addIfDuplicate() in the order of the
 * records would give, but without visiting a pair that durations rule out, and on many threads
 * that share nothing that they write. Needs memory for the records and for the duplicates, not for
 * the pairs.
 *
 * Errors: throws std::bad_alloc.
 * Thread: any thread, blocking; \a options.progress is called in it. Reentrant.
 */
Comparison compareBetween(const QList<FingerprintRecord>& first,
                          const QList<FingerprintRecord>& second, const ComparisonOptions& options);

/** As compareBetween(), for each record with every later one of the same list. */
Comparison compareWithin(const QList<FingerprintRecord>& records, const ComparisonOptions& options);

} // namespace search
