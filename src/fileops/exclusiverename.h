#pragma once

#include <QByteArray>

struct stat;

/** Linux only: renames that never replace a file. */
namespace fileops {

/** A name relative to an open directory, or to the working directory (AT_FDCWD). */
struct NameIn
{
    int directory;
    QByteArray name;
};

enum class RenameOutcome {
    Done,
    Refused,         ///< Any error; both directories are as they were.
    OtherFileSystem, ///< The names are on different file systems or mounts.
    Unsupported,     ///< The file system supports neither exclusive renames nor hard links.
};

/**
 * Renames the file \a from to \a to, which must be free: one atomic call, or, where the file
 * system does not support it, a hard link followed by the removal of \a from. Renames a symbolic
 * link itself.
 *
 * Thread: Any thread, blocking.
 */
RenameOutcome renameExclusively(const NameIn& from, const NameIn& to);

/**
 * Finishes a move whose file is complete under both names: removes \a source, or, if that fails,
 * \a destination. Touches neither name if it no longer is one of \a sourceFile or
 * \a destinationFile. Also keeps the destination if it is unknown whether the source exists: one
 * file too many is better than none.
 *
 * Returns whether the source is gone. Thread: Any thread, blocking.
 */
bool finishMove(const NameIn& source, const struct stat& sourceFile, const NameIn& destination,
                const struct stat& destinationFile);

/**
 * Undoes a move that cannot be finished: removes \a destination if it is still a name of
 * \a destinationFile. Keeps it if \a source is gone or it is unknown whether it exists.
 *
 * Returns whether the source is gone. Thread: Any thread, blocking.
 */
bool undoMove(const NameIn& source, const NameIn& destination, const struct stat& destinationFile);

/**
 * Whether \a name is a name of \a file. Follows no symbolic link.
 *
 * Thread: Any thread, blocking.
 */
bool isNameOf(const NameIn& name, const struct stat& file);

} // namespace fileops
