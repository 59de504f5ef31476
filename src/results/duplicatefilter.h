#pragma once

#include "compare/duplicatemap.h"

#include <QStringList>

namespace results {

/**
 * What of \a duplicates is shown, so that every path is listed at most once.
 *
 * Reference files are visited in ascending order. One that is already listed is skipped with its
 * whole list. The list of any other leaves out files that are already listed and the reference
 * itself. A reference file without entries is dropped.
 *
 * A file that matched only a file listed under an earlier reference is therefore not shown at all.
 * This is kept: the next run finds it, and no file is offered twice.
 *
 * Cost: linear in the number of entries. Reentrant.
 */
DuplicateMap filterForDisplay(const DuplicateMap& duplicates);

/**
 * As above, but visits the reference files in the order of \a references; leaves out those that are
 * not in it, and passes over those that have no entries.
 */
DuplicateMap filterForDisplay(const DuplicateMap& duplicates, const QStringList& references);

} // namespace results
