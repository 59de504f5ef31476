#pragma once

#include <QList>
#include <QMap>
#include <QString>

#include <tuple>

/**
 * The files that have look-alikes: the path of a reference file -> its (path of the matching file,
 * similarity in percent) entries, in the order in which they were found. Keys are ordered by
 * UTF-16 code unit. A pair is entered under its first file only; a key has at least one entry.
 */
using DuplicateMap = QMap<QString, QList<std::tuple<QString, int>>>;

namespace compare {

/**
 * Enters (\a matchPath, \a similarity) under \a referencePath if \a similarity reaches \a
 * threshold. Thread: Reentrant: one object per thread.
 */
void addIfDuplicate(DuplicateMap& duplicates, const QString& referencePath,
                    const QString& matchPath, int similarity, int threshold);

} // namespace compare
