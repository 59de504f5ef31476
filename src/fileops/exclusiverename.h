#pragma once

#include <QByteArray>

struct stat;

/** Linux only: renaming that cannot replace a file. */
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
    OtherFileSystem, ///< The two names lie on different file systems (or mounts).
    Unsupported,     ///< The file system can do this neither by renaming nor by linking.
};

/**
 * Gives the file \a from the name \a to, which must be free: one atomic call, or, where the file
 * system does not know it, a second link followed by the removal of the first. A symbolic link is
 * renamed itself.
 *
 * Thread: any thread, blocking. Reentrant.
 */
RenameOutcome renameExclusively(const NameIn& from, const NameIn& to);

/**
 * Ends a move whose file is whole under both names: removes \a source, or, if that cannot be done,
 * \a destination. \a sourceFile and \a destinationFile say which files the names must still stand
 * for; a name that meanwhile stands for another file is not touched.
 *
 * True if the source is gone. The destination is kept, too, when it cannot be told any more whether
 * the source is there: one file too many is better than none.
 */
bool removeSourceOrDestination(const NameIn& source, const struct stat& sourceFile,
                               const NameIn& destination, const struct stat& destinationFile);

/**
 * Takes \a destination, if it still is \a destinationFile, away again after a move that cannot be
 * ended. The destination stays when \a source is gone or cannot be told to be there, as above.
 *
 * True if the source is gone.
 */
bool withdraw(const NameIn& source, const NameIn& destination, const struct stat& destinationFile);

/** Whether \a name stands for the very file that \a file describes; no symbolic link is followed.
 */
bool standsFor(const NameIn& name, const struct stat& file);

} // namespace fileops
