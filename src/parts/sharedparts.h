#pragma once

#include "fingerprint/fingerprintrecord.h"
#include "parts/stretches.h"

#include <QList>

#include <functional>
#include <stop_token>

namespace parts {

/** A part that two recordings have in common. */
struct SharedPart
{
    /** Positions in the list of records; the first is the smaller one. */
    int first = 0;
    int second = 0;
    Stretch stretch;

    bool operator==(const SharedPart&) const = default;
};

/** The options of findSharedParts(). */
struct PartOptions
{
    /** The least similarity of a part in percent. */
    int threshold = 70;
    /** In seconds. */
    double leastLength = 20.0;
    /** If above 0, only records before this position are compared with those from it on. */
    qsizetype groupSize = 0;
    int threadCount = 1;
    /** If set, called about five times a second and at the end, with the share done of 1. */
    std::function<void(double done)> progress;
    /** A requested stop is answered within a second. */
    std::stop_token stop;
};

/** The result of findSharedParts(). */
struct SharedParts
{
    /** Sorted by records, then by their places in the first. Incomplete after a stop. */
    QList<SharedPart> parts;
    /** The number of seeds, which are pairs of equal words, that were looked at. */
    qint64 seeds = 0;
    /** The words that are in too many places to be of use, and the number of these places. */
    qint64 commonWords = 0;
    qint64 commonPlaces = 0;
};

/**
 * Finds the parts that any two of \a records have in common, wherever they are. Pairs that are
 * duplicates as a whole, by compare::recordSimilarity() and the threshold, are left out. The result
 * does not depend on the number of threads.
 *
 * Memory is that of the records, some 400 MB, and what is found.
 * Requires: a threshold of 1 to 100. Errors: throws std::bad_alloc, and std::system_error if no
 * thread can be started. Thread: Any thread, blocking. \a options.progress is called in it.
 */
SharedParts findSharedParts(const QList<FingerprintRecord>& records, const PartOptions& options);

} // namespace parts
