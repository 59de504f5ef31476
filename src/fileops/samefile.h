#pragma once

#include "fileops/filesystemkind.h"

#include <QString>

#include <optional>

/** Which paths lead to the same file. */
namespace fileops {

/** A time of a file, to the nanosecond. */
struct FileTime
{
    qint64 seconds = 0;
    qint64 nanoseconds = 0;

    bool operator==(const FileTime&) const = default;
};

/** What identifies a regular file, whatever path leads to it. */
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
 * The identity of the regular file that \a path leads to. Follows symbolic links.
 *
 * Errors: nothing if there is no such file. Thread: Any thread, blocking.
 */
std::optional<FileIdentity> identityOf(const QString& path, FileSystems& fileSystems);

/**
 * Whether the file of \a identity can be opened, or the user may not read it. Opens no local file:
 * its identity proves that it exists. The status of a file of another program or machine may come
 * from a cache while the file is removed there; opening it asks that program or machine.
 *
 * Thread: Any thread, blocking.
 */
bool isStillThere(const FileIdentity& identity);

/**
 * Whether two identities are those of one file, which has one content, whatever name it is
 * removed by. That is so in these cases:
 *
 * - Device and inode are equal. Hard links are names of one file, as are the paths through symbolic
 *   links and through folders that are mounted twice.
 * - The devices differ, at least one of the files is on a file system that shows files of another
 *   one, and size, modification and change time are equal; where both are on such a file system
 *   that may round times (FUSE, network), size and the seconds of the modification time.
 * - The device is the same, the resolved paths differ in letter case only, size and modification
 *   time are equal, and a third spelling leads to such a file as well, so letter case does not
 *   count.
 *
 * Nothing else is: a snapshot, a cloned disk or a copy written in the same instant is another file.
 *
 * Not recognised:
 *
 * - A file system that makes up its times beside the one that it shows: a share mounted by two
 *   protocols, sshfs beside the local folder.
 * - A pool that shows one of several files of the same name (mergerfs) beside another of them.
 * - Spellings below a part of a file system that is mounted by itself.
 *
 * Thread: Any thread, blocking (for the third spelling).
 */
bool isSameFile(const FileIdentity& first, const FileIdentity& second);

/**
 * Whether two paths lead to the same file; false if either leads to no regular file.
 *
 * Thread: Any thread, blocking.
 */
bool isSameFile(const QString& first, const QString& second);

} // namespace fileops
