#pragma once

#include "cli/commandline.h"

namespace cli {

/**
 * Merges stores as \a options ask, and returns the exit status.
 * Requires: an application object, and no other threads. Thread: Any thread, blocking.
 */
int runMerge(const MergeOptions& options);

} // namespace cli
