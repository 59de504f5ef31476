#pragma once

#include "fileops/samefile.h"

#include <QHash>
#include <QList>
#include <QMultiHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <utility>

namespace fileops {

/**
 * The files that must stay when duplicates are deleted or moved: the references. The constructor
 * reads the status of all of them.
 *
 * A file that two paths lead to (a link, a folder listed under two names) matches itself, and two
 * alike files in such a folder match each other under every pair of names. So a duplicate can be
 * the reference itself, or the reference of other duplicates, under another name. Removing it would
 * remove the file that must stay.
 *
 * Cost: one or two status calls per path. Thread: Reentrant: one object per thread. Blocking.
 */
class KeptFiles
{
public:
    explicit KeptFiles(const QStringList& references);

    /** Whether \a reference, one of those given to the constructor, led to a regular file. */
    bool isThere(const QString& reference) const
    {
        return m_there.contains(reference);
    }

    /** The reference that \a path is another name of, or the same; empty if there is none. */
    QString nameOf(const QString& path);

private:
    using Inode = std::pair<quint64, quint64>;       ///< Device and number.
    using SizeAndSecond = std::pair<qint64, qint64>; ///< The second of the modification time.

    void add(const FileIdentity& identity);
    QString sameInode(const FileIdentity& identity) const;
    QString sameOnOtherDevice(const FileIdentity& identity) const;
    QString sameInOtherSpelling(const FileIdentity& identity) const;

    FileSystems m_fileSystems;
    QSet<QString> m_there;
    QHash<Inode, QString> m_byInode;
    QHash<quint64, QMultiHash<SizeAndSecond, FileIdentity>> m_byDevice;
    QMultiHash<QString, FileIdentity> m_byCaseFoldedPath;
};

} // namespace fileops
