#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <stop_token>

namespace fingerprint {

/**
 * The file-name patterns of the files that are searched for, in the program's own order.
 * They name containers and raw types that can hold audio; fingerprinting finds out whether a file
 * does.
 * Thread: Any thread.
 */
const QStringList& audioFileNamePatterns();

/**
 * Lists the audio files under \a folders: folder by folder in the given order, each in the order
 * in which the file system lists its entries, subfolders at any depth included.
 *
 * Names are matched without regard to letter case. Hidden files, hidden folders and system files
 * (sockets, devices) are left out, as are files and folders whose own names are not valid UTF-8.
 * Symbolic links to folders are not followed; links to anything else that exists are listed. All
 * this is about entries below \a folders: these may themselves be hidden, or links. Nothing is
 * de-duplicated: a file under two of the folders is listed twice.
 *
 * A stop requested through \a stop ends the listing within a few directory entries; returns what
 * was found until then.
 *
 * Errors: a folder that does not exist or cannot be read is skipped. Each level of folders takes
 * one file descriptor; folders below the last free one are skipped, too.
 * Thread: Any thread, blocking.
 */
QStringList findAudioFiles(const QStringList& folders, const std::stop_token& stop = {});

/** An entry of a folder that was not looked at although there may be audio in it. */
struct SkippedEntry
{
    /** Each byte of a name that is not valid UTF-8 is shown as "\xE9". */
    QString path;
    /** For people. */
    QString reason;
    /** Whether it is a folder that was not listed, or not to its end. */
    bool isUnlistedFolder = false;
};

/** What is listed, and what is not. */
struct ListingOptions
{
    /** Endings of files that are listed besides those of the 44 patterns: lower case, no dot. */
    QSet<QString> moreEndings;
    /** Endings, in the same form, of files that are noted where they are not listed. */
    QSet<QString> notedEndings;
    /**
     * If set, whether the entry at \a pathBelow the searched folder is left out without a note. A
     * folder that is left out is not entered.
     */
    std::function<bool(const QString& pathBelow, bool isFolder)> isExcluded;
};

/** The files of a listing, and what was noted on the way. */
struct Listing
{
    QStringList files;
    /**
     * Folders that cannot be read; folders and audio files whose names are not valid UTF-8; links
     * to folders; links and special files with the name of an audio file that lead to nothing or
     * are no files. In the order in which they were met.
     */
    QList<SkippedEntry> skipped;
    /** Files that exist and have one of the noted endings. */
    QStringList noted;
};

/**
 * As findAudioFiles(), with \a options, and with notes of what was left out. Hidden entries are not
 * noted. With no options the files are the same, in the same order.
 *
 * Errors: in the notes. Only on Unix are there any but of noted endings.
 * Thread: Any thread, blocking.
 */
Listing listAudioFiles(const QStringList& folders, const ListingOptions& options,
                       const std::stop_token& stop = {});

/** What listAudioFiles() does with a file. */
enum class Treatment {
    Listed,
    Noted,
    LeftOut,
};

/**
 * What listAudioFiles() would do with a file at \a pathBelow the searched folder, by its name and
 * the names of the folders on the way. Thread: Any thread.
 */
Treatment treatmentOf(const QString& pathBelow, const ListingOptions& options);

} // namespace fingerprint
