#pragma once

#include <QStringList>

#include <stop_token>

namespace fingerprint {

/**
 * The 44 file-name patterns of the files that are searched for, in the program's own order.
 * They name containers and raw types that can hold audio; whether a file does is found out when
 * it is fingerprinted.
 */
const QStringList& audioFileNamePatterns();

/**
 * Lists the audio files under \a folders: folder by folder in the given order, each in the order
 * in which the file system yields its entries, subfolders at any depth included.
 *
 * Names are matched without regard to letter case. Hidden files, hidden folders and system files
 * (sockets, devices) are left out, as are files and folders whose own names are not valid UTF-8,
 * and nothing else because of them. Symbolic links to folders are not followed; links to anything
 * else that exists are listed. All this holds below \a folders: these may be hidden, or links.
 * Nothing is de-duplicated: a file under two of the folders is listed twice.
 *
 * Errors: a folder that does not exist or cannot be read contributes nothing. One file descriptor
 * is open for each level of folders; those that are too deep for that contribute nothing, either.
 * A stop requested through \a stop ends the listing within a few directory entries; what was found
 * until then is returned.
 * Thread: any thread, blocking. Reentrant.
 */
QStringList findAudioFiles(const QStringList& folders, const std::stop_token& stop = {});

} // namespace fingerprint
