#pragma once

#include "cli/commandline.h"
#include "cli/report.h"

#include <QString>

#include <stop_token>

namespace cli {

/**
 * Checks before the search that a result can be written to \a fileName (empty: standard output).
 * Returns the reason if it cannot, else an empty text. Thread: Any thread, blocking.
 */
QString outputProblem(const QString& fileName);

/**
 * Writes \a report to \a fileName (empty: standard output). Replaces the file by the complete
 * report or leaves it as it was. Errors: returns the reason, or an empty text on success. A
 * requested \a stop is a failure. Thread: Any thread, blocking.
 */
QString writeOutput(const QString& fileName, const Report& report, Format format,
                    const std::stop_token& stop);

} // namespace cli
