#pragma once

#include <QStringList>

namespace cli {

/** What the program exits with; an interrupted one with 128 and the signal's number. */
enum ExitStatus {
    Done = 0,
    /** A folder does not exist or cannot be read; the others were searched. */
    FolderMissing = 1,
    WrongUsage = 2,
    /** There is no result, or the store did not take all that was made. */
    Failed = 3,
};

/**
 * The whole program: searches as \a arguments ask (the program's name included), writes the result,
 * and returns what to exit with.
 * Thread: the main thread, blocking, with an application object.
 */
int run(const QStringList& arguments);

} // namespace cli
