#pragma once

#include "fileops/destinationnames.h"

#include <QString>

/**
 * Deletes, moves and copies one file. Each function takes values and returns a value, so that it
 * can run on a worker thread.
 *
 * No function overwrites a file, or blocks on a pipe or device.
 *
 * Elsewhere than on Linux these are QFile::remove(), QFile::rename(), and QFile::copy() with its
 * size checked.
 *
 * Errors: false, without a message. An empty path and a path with a null character are errors.
 * Thread: Any thread, blocking. Moving and copying need 128 KiB of stack.
 */
namespace fileops {

/**
 * Removes \a path. A symbolic link is removed itself, not the file that it leads to.
 */
bool deleteFile(const QString& path);

/**
 * Moves the first path to the second.
 *
 * On one file system this is one atomic rename. Between file systems the file is copied as
 * copyFile() does it, with its attributes. The source is removed last, when content and name of the
 * copy are on disk.
 *
 * Attributes: mode and times; owner and group where the user may set them; extended attributes and
 * access control lists where the target file system takes them, but not those of a symbolic link.
 *
 * - True: all of that was done.
 * - False: the source is untouched, and the destination directory is as it was unless removing the
 *   copy failed.
 * - Killed at any moment: the source is whole under one of its names, or both. Nothing else is left
 *   where the target file system supports unnamed files (O_TMPFILE). Elsewhere a temporary file
 *   (".quorvel-" and hexadecimal digits) may be left, or, where the target file system supports
 *   neither exclusive renames nor hard links, an incomplete destination.
 *
 * A symbolic link is moved itself, its text unchanged; one that leads nowhere is an error. A
 * directory is moved within one file system only. A pipe, socket or device is never opened.
 * A source that is changed while it is copied is an error.
 */
bool moveFile(const SourceAndDestination& paths);

/**
 * Copies the first path, a regular file, to the second.
 *
 * The copy gets its name when it is complete and flushed to disk.
 *
 * - True: the content is on disk, and so is its name, unless the file system cannot flush
 *   directories or the user may not read this one.
 * - False: the destination directory is as it was unless removing the copy failed.
 * - Killed at any moment: the destination is whole or absent. What may be left is as for a move.
 *
 * Copies the permission bits where the target file system takes them, and no other attribute.
 * Follows symbolic links. A source that is changed while it is copied is an error.
 */
bool copyFile(const SourceAndDestination& paths);

} // namespace fileops
