#pragma once

#include <QStringList>

namespace cli {

/**
 * Runs the program: does what \a arguments ask (the program's name included) and returns the exit
 * status.
 * Requires: an application object, and no other threads. Thread: Any thread, blocking.
 */
int run(const QStringList& arguments);

} // namespace cli
