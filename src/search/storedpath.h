#pragma once

#include <QHash>
#include <QString>

namespace search {

/**
 * The names that a store keeps files under: the folder with all links resolved, then the file's own
 * name. So a search from elsewhere or through a link finds the file again. The file's own name is
 * not resolved, even if it is a link, since some formats are recognised by their name alone.
 *
 * Thread: Reentrant: one object per thread.
 */
class StoredPaths
{
public:
    /** Returns the name of the file at \a path, which need not exist. Asks once for each folder. */
    QString of(const QString& path);

private:
    /** Folders as they are called here -> without links and relative parts. */
    QHash<QString, QString> m_folders;
};

/**
 * Returns \a folder with all links resolved. Of one that does not exist, the part that does is
 * resolved. Requires: an absolute path. Thread: Any thread, blocking.
 */
QString folderWithoutLinks(const QString& folder);

} // namespace search
