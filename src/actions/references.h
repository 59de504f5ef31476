#pragma once

#include "actions/searchresult.h"
#include "actions/targetfolder.h"
#include "fileops/keptfiles.h"

#include <QHash>
#include <QList>
#include <QMultiHash>
#include <QString>

namespace actions {

/**
 * The references of a result, which must stay, and what must hold before and after a duplicate is
 * moved. The constructor reads the status of all of them.
 * Thread: Reentrant: one object per thread. Blocking.
 */
class References
{
public:
    explicit References(const SearchResult& result);

    const ResultFile& file(const QString& path) const
    {
        return *m_files.constFind(path);
    }
    /**
     * Why \a duplicate must not be moved to \a target as a duplicate of \a reference; empty if it
     * may be. Both must exist as the search found them, and \a duplicate must be no reference of
     * any group under any name.
     */
    QString objection(const ResultFile& duplicate, const ResultFile& reference,
                      const TargetFolder& target);
    /**
     * The references of \a sizeBytes that can be read. If one of them cannot be read any more when
     * a file of that size has been moved, the file was the reference, under a name that no
     * comparison recognised.
     */
    QList<ResultFile> readableOfSize(qint64 sizeBytes) const;
    /** All references of \a sizeBytes, and \a path if it is one. */
    QList<ResultFile> allOfSize(qint64 sizeBytes, const QString& path) const;

private:
    const QHash<QString, ResultFile> m_files;
    QMultiHash<qint64, QString> m_bySize;
    fileops::KeptFiles m_kept;
};

/** Whether each of \a files can be read. Thread: Any thread, blocking. */
bool canAllBeRead(const QList<ResultFile>& files);

} // namespace actions
