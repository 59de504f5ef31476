#pragma once

#include <QString>

namespace cli {

/** Prints \a message on standard error, after the program's name. Thread: Any thread. */
void printMessage(const QString& message);

} // namespace cli
