#pragma once

#include "fingerprint/audiofilediscovery.h"

#include <QByteArrayView>
#include <QDirIterator>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <filesystem>

namespace support {

/** What is to be listed of \a folders, in the toolkit's own words. */
inline QStringList plainListing(const QStringList& folders)
{
    QStringList files;
    for (const QString& folder : folders) {
        QDirIterator entries(folder, fingerprint::audioFileNamePatterns(), QDir::Files,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            files.append(entries.next());
        }
    }
    return files;
}

/**
 * Whether the directory iterators of all versions of Qt read \a name alike. Where it is not valid
 * UTF-8, that of Qt 6.4 passes over it, and that of Qt 6.8 ends. Qt 6.8 also drops a byte order
 * mark at its beginning, and takes the file for a hidden one if a dot follows.
 */
inline bool isReadAlike(QByteArrayView name)
{
    return name.isValidUtf8() && !name.startsWith("\xEF\xBB\xBF");
}

/** Whether plainListing() is a measure for any names, not only for those that isReadAlike(). */
inline bool plainListingReadsAnyName()
{
    const QTemporaryDir folder;
    const QByteArray path = QFile::encodeName(folder.path());
    // Mixed and many, since the file system chooses the order in which they are met.
    constexpr int kNames = 20;
    for (int i = 0; i < kNames; ++i) {
        const QByteArray name = path + '/' + QByteArray::number(i);
        mknod((name + "\xFF.mp3").constData(), S_IFREG | 0600, 0);
        mknod((name + ".mp3").constData(), S_IFREG | 0600, 0);
    }
    const qsizetype listed = plainListing({folder.path()}).size();
    // The toolkit cannot: it does not see such names.
    std::filesystem::remove_all(folder.path().toStdString());
    return listed == kNames;
}

} // namespace support
