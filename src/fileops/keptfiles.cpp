#include "fileops/keptfiles.h"

#include <algorithm>

namespace fileops {

KeptFiles::KeptFiles(const QStringList& references)
{
    for (const QString& reference : references) {
        const std::optional<FileIdentity> identity = identityOf(reference, m_fileSystems);
        if (!identity) {
            continue;
        }
        m_there.insert(reference);
        const Inode inode(identity->device, identity->inode);
        if (identity->hasInode() && m_byInode.contains(inode)) {
            continue;
        }
        m_byInode.insert(inode, reference);
        m_bySizeAndSecond.insert({identity->size, identity->modified.seconds}, *identity);
    }
}

QString KeptFiles::nameOf(const QString& path)
{
    const std::optional<FileIdentity> identity = identityOf(path, m_fileSystems);
    if (!identity) {
        return {};
    }
    if (identity->hasInode()) {
        const auto same = m_byInode.constFind({identity->device, identity->inode});
        if (same != m_byInode.cend()) {
            return *same;
        }
    }
    const auto [first, last] =
        m_bySizeAndSecond.equal_range({identity->size, identity->modified.seconds});
    const auto same = std::find_if(
        first, last, [&](const FileIdentity& kept) { return isSameFile(kept, *identity); });
    return same != last ? same->path : QString();
}

} // namespace fileops
