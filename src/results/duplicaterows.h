#pragma once

#include "compare/duplicatemap.h"
#include "fileops/duplicaterow.h"

#include <QList>

namespace results {

/**
 * The rows of the file operation dialog: the duplicates that still exist, in key order and within a
 * key as they were found. Those that are a reference of any of the lists under another name, and
 * those whose own reference is no longer there, are marked.
 * Thread: Any thread, blocking.
 */
QList<DuplicateRow> duplicateRows(const DuplicateMap& duplicates);

} // namespace results
