#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>
#include <QMap>
#include <QString>

#include <tuple>

/**
 * The files that have look-alikes: the path of a reference file -> its (path of the matching file,
 * similarity in percent) entries, in the order in which they were found. Keys are ordered by
 * UTF-16 code unit. A pair stands under its first file only; a key has at least one entry.
 */
using DuplicateMap = QMap<QString, QList<std::tuple<QString, int>>>;

namespace compare {

/** Recordings of the same piece that differ by more than this are taken as different. */
inline constexpr int kLargestDurationDifferenceMs = 5000;

/**
 * Whether two lengths in milliseconds are close enough for two files to be compared: at most
 * kLargestDurationDifferenceMs apart. The difference is taken in 32 bits and wraps around.
 * Reentrant.
 */
bool durationsComparable(int firstMs, int secondMs);

/**
 * The similarity of two files in percent: 0 when their durations are not comparable, else the
 * larger of getSimilarity() in both directions.
 * Reentrant.
 */
int recordSimilarity(const FingerprintRecord& first, const FingerprintRecord& second);

/**
 * Enters (\a matchPath, \a similarity) under \a referencePath if \a similarity reaches \a
 * threshold. Thread: one thread at a time for one \a duplicates.
 */
void addIfDuplicate(DuplicateMap& duplicates, const QString& referencePath,
                    const QString& matchPath, int similarity, int threshold);

} // namespace compare
