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
 * The files that must stay when duplicates are dealt with: the references, which the duplicates are
 * duplicates of. Looks at all of them at once, when it is made.
 *
 * A file that is no duplicate of anything but reached by two paths (a link, a folder listed under
 * two names) matches itself, and two alike files in such a folder match each other under every pair
 * of names. So a duplicate can be the reference itself, or the reference of other duplicates, under
 * another name. Removing it would take the file that was to stay.
 *
 * Cost: one or two status calls per path. Thread: any thread, blocking; one object per thread.
 */
class KeptFiles
{
public:
    explicit KeptFiles(const QStringList& references);

    /** Whether \a reference, one of those that the object was made with, led to a regular file. */
    bool isThere(const QString& reference) const
    {
        return m_there.contains(reference);
    }

    /** The reference that \a path is a name of; empty if it is none. */
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
