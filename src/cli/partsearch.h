#pragma once

#include "cli/commandline.h"
#include "cli/partentries.h"
#include "cli/progressline.h"

#include <stop_token>

namespace cli {

/**
 * Looks for what \a first have in common with each other, or with \a second if \a options compare
 * two groups, as \a options ask. Shows its progress. After a requested stop the result is
 * incomplete. Errors: throws std::bad_alloc. Thread: Any thread, blocking.
 */
PartList findParts(const QList<FingerprintRecord>& first, const QList<FingerprintRecord>& second,
                   const Options& options, int threshold, ProgressLine& progress,
                   const std::stop_token& stop);

} // namespace cli
