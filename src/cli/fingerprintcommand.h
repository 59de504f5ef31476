#pragma once

#include "cli/commandline.h"

namespace cli {

/**
 * Fingerprints the files that \a options ask for into their store, and returns the exit status.
 * Requires: an application object, and no other threads. Thread: Any thread, blocking.
 */
int runFingerprint(const FingerprintOptions& options);

} // namespace cli
