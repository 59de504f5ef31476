#pragma once

#include <QString>

namespace fileops {

/**
 * Moves \a source to \a destination and never overwrites: what QFile::rename() promises.
 *
 * On one file system this is one atomic rename. Between file systems the content is copied under a
 * temporary name (".quorvel-" and hexadecimal digits) in the target directory, its size is checked,
 * it is flushed to disk and only then gets its name, without replacing anything. The source is
 * removed last, when the name is on disk as well, unless the file system cannot flush directories
 * or the user may not read this one.
 *
 * Mode and modification time go along, the owner where the system allows it, and extended
 * attributes and access control lists where the target file system takes them; those of a symbolic
 * link do not.
 *
 * - True means that all of that was done.
 * - False means that the source is untouched and the destination directory as it was, unless
 *   removing the copy failed, too.
 * - Killed at any moment, the source is whole under one of its two names. What may be left over is
 * a temporary file, or, on a file system that can neither rename without replacing nor link, an
 *   incomplete destination beside the whole source.
 *
 * A symbolic link is moved itself, its text unchanged; one that points to nothing counts as
 * missing. A directory is moved within one file system only. Anything else that is not a regular
 * file (pipe, socket, device) is never opened.
 * A source that is changed while it is copied is an error.
 *
 * Elsewhere than on Linux this is QFile::rename().
 *
 * Errors: false. Thread: any thread, blocking. Reentrant.
 */
bool moveWithoutOverwriting(const QString& source, const QString& destination);

} // namespace fileops
