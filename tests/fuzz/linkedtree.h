#pragma once

#include "mutation.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>
#include <QString>
#include <QStringList>

/** Small collections in which one file has many names. */
namespace fuzz {

/** The ways of showing a folder a second time that this machine has; mounts end with the process.
 */
QByteArrayList waysToMount();

/**
 * A tree of a few folders and files: copies of recordings, links of both kinds to files, to folders
 * and to nothing, and a folder that is mounted a second time in one of waysToMount(). A file's
 * content is the letter of its recording. The tree is removed at the end of this object's life.
 */
class LinkedTree
{
public:
    LinkedTree(const QString& root, Random& random);
    ~LinkedTree();
    Q_DISABLE_COPY_MOVE(LinkedTree)

    /** Some of the folders, by any of their names, one perhaps twice or within another. */
    QStringList someFolders(Random& random) const;
    /** Removes a file or link, as a person may do meanwhile; not below an overlay. */
    void removeAny(Random& random) const;
    /** How many files, whatever their names and mounts, each recording has, by its letter. */
    QHash<char, int> recordings() const;
    /**
     * Whether files may be removed by the names that they do not have in the mount. What becomes of
     * an overlay is not defined when the folders below it change.
     */
    bool mayChangeBehindMount() const
    {
        return !m_isOverlay;
    }
    /** Whether no two paths in the tree lead to one file. */
    bool isPlain() const
    {
        return m_plain;
    }

private:
    void addFolder(Random& random);
    void addFile(Random& random);
    void addLink(Random& random);
    void addHardLink(Random& random);
    void mountAgain(Random& random);

    QByteArray m_root;
    QByteArrayList m_folders;
    QByteArrayList m_files;
    QByteArray m_mountPoint;
    bool m_isOverlay = false;
    bool m_plain = true;
};

/** The letter of the recording that \a path leads to; 0 if it leads to no file. */
char recordingAt(const QString& path);

} // namespace fuzz
