#pragma once

#include "cli/commandline.h"

namespace cli {

/**
 * Moves the duplicates of a result, or shows what would be moved, as \a options ask. Prints what
 * was left alone, and a summary. Returns the exit status.
 * Requires: an application object, and no other threads. Thread: Any thread, blocking.
 */
int runApply(const ApplyOptions& options);

/** As runApply(), but moves the files of a journal back. */
int runUndo(const UndoOptions& options);

} // namespace cli
