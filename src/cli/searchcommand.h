#pragma once

#include "cli/commandline.h"

namespace cli {

/**
 * Searches as \a options ask, writes the result, and returns the exit status.
 * Requires: an application object, and no other threads. Thread: Any thread, blocking.
 */
int runSearch(const Options& options);

} // namespace cli
