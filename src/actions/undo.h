#pragma once

#include "actions/apply.h"

#include <QString>

#include <stop_token>

namespace actions {

/**
 * Moves the files of a journal back, the last one first, and gives them and their folders the times
 * that they had. Overwrites nothing. At the end removes the folders that apply() made, if they are
 * empty. Ends after the file in progress once \a stop is requested. After a kill the same call
 * continues.
 *
 * Errors: throws ActionError. Thread: Any thread, blocking.
 */
Counts undo(const QString& journalFile, const Listener& listener, const std::stop_token& stop);

} // namespace actions
