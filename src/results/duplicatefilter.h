#pragma once

#include "compare/duplicatemap.h"

namespace results {

/**
 * What of \a duplicates is shown, so that every path is listed at most once.
 *
 * Reference files are visited in ascending order. One that was already listed is skipped together
 * with its whole list; in the list of any other, the files that were already listed, and the file
 * itself, are left out. A reference file that has nothing left is dropped.
 *
 * A file that matched only a file listed under an earlier reference is therefore not shown at all.
 * This is kept: what is left can be dealt with in the next run, and no file is offered twice.
 *
 * Cost: linear in the number of entries. Reentrant.
 */
DuplicateMap filterForDisplay(const DuplicateMap& duplicates);

} // namespace results
