#pragma once

#include <QStringList>

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

} // namespace fingerprint
