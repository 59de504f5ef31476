#pragma once

#include <QString>

namespace fileops {

/**
 * Copies the regular file \a source to \a destination and never overwrites: what QFile::copy()
 * promises, which takes data that could not be flushed to disk for copied.
 *
 * - True means that the content is at the destination and on disk, and so is its name, unless the
 *   file system cannot flush directories or the user may not read this one.
 * - False means that the destination directory is as it was, unless removing the copy failed, too.
 * - Killed at any moment, the destination is whole or absent. What may be left over on a file
 * system that knows no files without a name is a temporary file (".quorvel-" and hexadecimal
 * digits); and on one that can neither rename without replacing nor link, an incomplete
 * destination.
 *
 * The permissions go along where that can be done, nothing else does. A symbolic link gives a copy
 * of what it points to; what is not a regular file is an error, and never waited for. A source that
 * is changed while it is copied is an error.
 *
 * Elsewhere than on Linux this is QFile::copy(), with its size checked.
 *
 * Errors: false. Thread: any thread, blocking. Reentrant; needs 128 KiB of stack.
 */
bool copyWithoutOverwriting(const QString& source, const QString& destination);

} // namespace fileops
