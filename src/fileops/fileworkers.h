#pragma once

#include "fileops/destinationnames.h"

#include <QString>

/**
 * What is done to one file. Values in, a value out: these run on a worker thread.
 *
 * None of them ever overwrites a file, and none blocks on a file that is not a regular one.
 * Errors: false, nothing is reported otherwise. A path that is empty or contains a null character
 * is an error.
 * Thread: any thread, blocking. Reentrant.
 */
namespace fileops {

/** Removes \a path, as QFile::remove(). A symbolic link is removed itself, not what it points to.
 */
bool deleteFile(const QString& path);

/** Moves the first path to the second, as moveWithoutOverwriting(). */
bool moveFile(const SourceAndDestination& paths);

/** Copies the first path to the second, as copyWithoutOverwriting(). */
bool copyFile(const SourceAndDestination& paths);

} // namespace fileops
