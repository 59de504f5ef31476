#pragma once

#include <QHashFunctions>
#include <QString>

#include <optional>

namespace fileops {

/**
 * What a file is told from another by, whatever path it was reached by: its inode where the inode
 * has one name, so that symbolic links, linked folders and folders mounted twice all lead to the
 * same identity; its canonical path where it has several names (hard links) or the platform has no
 * inodes, so that each hard link is a file of its own.
 */
struct FileIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    QString canonicalPath; ///< Empty where device and inode tell.

    bool operator==(const FileIdentity&) const = default;
};

inline size_t qHash(const FileIdentity& identity, size_t seed = 0)
{
    return qHashMulti(seed, identity.device, identity.inode, identity.canonicalPath);
}

/** The identity of the file that \a path leads to; nothing if there is none. Any thread, blocking.
 */
std::optional<FileIdentity> identityOf(const QString& path);

/**
 * Whether both paths lead to the very same file, so that removing it by one path takes it from the
 * other as well: they have the same canonical path, or the same device and inode and the inode has
 * one link. False if either leads to none. Any thread, blocking.
 */
bool isSameFile(const QString& first, const QString& second);

} // namespace fileops
