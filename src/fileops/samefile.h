#pragma once

#include "fileops/filesystemkind.h"

#include <QString>

#include <optional>

/** Which paths lead to one and the same file. */
namespace fileops {

/** A time of a file, to the nanosecond. */
struct FileTime
{
    qint64 seconds = 0;
    qint64 nanoseconds = 0;

    bool operator==(const FileTime&) const = default;
};

/** What a regular file is recognised by, whatever path led to it. */
struct FileIdentity
{
    /** The path by which it was reached; canonical where there are no inodes. */
    QString path;
    quint64 device = 0;
    quint64 inode = 0; ///< 0 where the platform has none.
    qint64 size = 0;   ///< In bytes.
    FileTime modified = {};
    FileTime changed = {}; ///< When its content, its attributes or its names changed last.
    FileSystemKind kind = FileSystemKind::Local;
    /** The path, on a file system of kind FuseOrNetwork without symbolic links in it. */
    QString resolvedPath = path;

    bool hasInode() const
    {
        return inode != 0;
    }
};

/**
 * The identity of the regular file that \a path leads to, symbolic links followed; nothing if there
 * is none. Thread: any thread, blocking. Reentrant: one \a fileSystems per thread.
 */
std::optional<FileIdentity> identityOf(const QString& path, FileSystems& fileSystems);

/**
 * Whether the file of \a identity can be opened, or is one that the user may not read. A look at a
 * file is answered from memory for a while where another program or machine keeps it, and it may
 * have been removed there; opening it asks. Local files are known to be there without.
 * Thread: any thread, blocking. Reentrant.
 */
bool isStillThere(const FileIdentity& identity);

/**
 * Whether two identities are those of one file, so that it has one content, whatever name it is
 * removed by:
 *
 * - Device and inode are equal. Hard links are names of one file, as are the paths through symbolic
 *   links and through folders that are mounted twice.
 * - The devices differ, at least one of the files is on a file system that shows files of another
 *   one, and size, modification and change time are equal; where both are on such a file system
 *   that may round times (FUSE, network), size and the seconds of the modification time.
 * - The device is the same, the resolved paths differ in letter case only, size and modification
 *   time are equal, and a third spelling leads to such a file as well, so letter case does not
 * count.
 *
 * Nothing else is: a snapshot, a cloned disk or a copy written in the same instant is another file.
 * Not recognised are a file system that makes up its times beside the one that it shows (a share
 * mounted by two protocols, sshfs beside the local folder), a pool that shows one of several files
 * of the same name (mergerfs) beside another of them, and spellings below a part of a file system
 * that is mounted by itself.
 *
 * Thread: any thread, blocking (for the third spelling). Reentrant.
 */
bool isSameFile(const FileIdentity& first, const FileIdentity& second);

/** The same for two paths; false if either leads to no regular file. */
bool isSameFile(const QString& first, const QString& second);

} // namespace fileops
