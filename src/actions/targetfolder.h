#pragma once

#include <QString>
#include <QStringList>

namespace actions {

/**
 * The folder below which files are moved, each under its own absolute path.
 * Thread: Any thread, blocking.
 */
class TargetFolder
{
public:
    /**
     * \a folder need not exist. \a searched are the folders of the search.
     * Errors: throws ActionError if it is in one of \a searched, or one of those in it, also by
     * links or mounts, or if it is not a folder.
     */
    TargetFolder(const QString& folder, const QStringList& searched);

    /** Absolute, without symbolic links. */
    const QString& path() const
    {
        return m_path;
    }
    /** Where the file \a source, an absolute path, belongs. */
    QString destinationOf(const QString& source) const
    {
        return m_path + source;
    }
    /** Whether \a path leads into the folder, by links or mounts as well. */
    bool contains(const QString& path) const;

    /** The folders to make before a file can be moved, the outermost first. */
    struct Missing
    {
        QStringList folders;
        /** Why the file cannot be moved; empty if it can. */
        QString objection;
    };
    Missing missingFor(const QString& destination) const;

private:
    QString m_path;
};

/**
 * Makes \a folders one after another, for their owner only: the folder that a file comes from may
 * have kept others away from it. Flushes them to the disk.
 * Errors: the reason. Thread: Any thread, blocking.
 */
QString makeFolders(const QStringList& folders);

/** Whether \a inner is \a outer or below it, symbolic links and mounts followed; they may be
 *  missing. Thread: Any thread, blocking. */
bool isWithin(const QString& inner, const QString& outer);

} // namespace actions
