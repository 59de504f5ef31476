#include "fileops/keptfiles.h"

#include <algorithm>

namespace fileops {

namespace {

/** The path of the candidate that is the file of \a identity; empty if there is none. */
template <typename Key>
QString pathOfSame(const QMultiHash<Key, FileIdentity>& candidates, const Key& key,
                   const FileIdentity& identity)
{
    const auto [first, last] = candidates.equal_range(key);
    const auto same = std::find_if(
        first, last, [&](const FileIdentity& kept) { return isSameFile(kept, identity); });
    return same != last ? same->path : QString();
}

} // namespace

KeptFiles::KeptFiles(const QStringList& references)
{
    for (const QString& reference : references) {
        const std::optional<FileIdentity> identity = identityOf(reference, m_fileSystems);
        if (identity && isStillThere(*identity)) {
            m_there.insert(reference);
            add(*identity);
        }
    }
}

QString KeptFiles::nameOf(const QString& path)
{
    const std::optional<FileIdentity> identity = identityOf(path, m_fileSystems);
    if (!identity) {
        return {};
    }
    QString name = sameInode(*identity);
    if (name.isEmpty()) {
        name = sameOnOtherDevice(*identity);
    }
    return name.isEmpty() ? sameInOtherSpelling(*identity) : name;
}

void KeptFiles::add(const FileIdentity& identity)
{
    const Inode inode(identity.device, identity.inode);
    if (!m_byInode.contains(inode)) {
        m_byInode.insert(inode, identity.path);
    }
    m_byDevice[identity.device].insert({identity.size, identity.modified.seconds}, identity);
    m_byCaseFoldedPath.insert(identity.resolvedPath.toCaseFolded(), identity);
}

QString KeptFiles::sameInode(const FileIdentity& identity) const
{
    return identity.hasInode() ? m_byInode.value({identity.device, identity.inode}) : QString();
}

QString KeptFiles::sameOnOtherDevice(const FileIdentity& identity) const
{
    const SizeAndSecond key(identity.size, identity.modified.seconds);
    for (auto device = m_byDevice.cbegin(); device != m_byDevice.cend(); ++device) {
        const QString name =
            device.key() != identity.device ? pathOfSame(*device, key, identity) : QString();
        if (!name.isEmpty()) {
            return name;
        }
    }
    return {};
}

/** Also finds the same path on platforms without inodes. */
QString KeptFiles::sameInOtherSpelling(const FileIdentity& identity) const
{
    return pathOfSame(m_byCaseFoldedPath, identity.resolvedPath.toCaseFolded(), identity);
}

} // namespace fileops
