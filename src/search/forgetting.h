#pragma once

#include <QStringList>

namespace search {

class FingerprintStore;

/** What a search has listed. All paths are absolute, and as the search calls them. */
struct ListedFiles
{
    /** The folders that were searched. */
    QStringList folders;
    QStringList files;
    /** Folders below them that were not listed, or not to their end. */
    QStringList unlistedFolders;
};

/**
 * Takes out of \a store what it keeps of files below the searched folders that are gone. Returns
 * their number.
 *
 * A file is gone if nothing of its name exists, and if the nearest folder above it that does exist
 * was listed and has files, in it or below it, that were listed on the same file system. So what
 * the store keeps of a disk that is not mounted stays: its mount point is empty, or is gone from a
 * folder that has only other disks below it.
 *
 * Requires: the thread that made the store. Errors: throws StoreError; nothing is taken out then.
 * Thread: Any thread, blocking.
 */
qsizetype forgetGone(FingerprintStore& store, const ListedFiles& listed);

} // namespace search
