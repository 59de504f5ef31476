#pragma once

#include "cli/commandline.h"
#include "cli/report.h"

#include <QString>

#include <stop_token>

namespace cli {

/**
 * Why nothing could be written to \a fileName, found out before the work; empty where it could.
 * A name that is empty stands for standard output.
 */
QString outputProblem(const QString& fileName);

/**
 * Writes \a report to standard output where \a fileName is empty, or else to the file of that name:
 * the whole of it, in the place of a file that is there, or nothing.
 * Errors: returns why it failed, empty when it did not. A requested \a stop fails with some text.
 * Thread: any thread, blocking.
 */
QString writeOutput(const QString& fileName, const Report& report, Format format,
                    const std::stop_token& stop);

} // namespace cli
