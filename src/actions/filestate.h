#pragma once

#include "fileops/samefile.h"

#include <QString>

#include <optional>

namespace actions {

/** What a path itself, not the target of a link, is at a moment. */
struct FileState
{
    enum class Kind {
        Nothing,
        RegularFile,
        Folder,
        Other,   ///< A link, or what is no file.
        Unknown, ///< The system gives no answer, so anything may be there.
    };

    Kind kind = Kind::Unknown;
    qint64 sizeBytes = 0;
    fileops::FileTime modified = {};
    /** The number of its names. */
    quint64 links = 0;
};

/** Thread: Any thread, blocking. */
FileState stateOf(const QString& path);

/** The folder that \a path, an absolute one, is in. Thread: Any thread. */
QString folderOf(const QString& path);

/** The modification time of the folder that \a path leads to; nothing if it cannot be looked at.
 *  Thread: Any thread, blocking. */
std::optional<fileops::FileTime> folderTime(const QString& path);

/** \a time in milliseconds since 1970, rounded down. Thread: Any thread. */
qint64 milliseconds(const fileops::FileTime& time);

/**
 * Sets the modification time of the file or folder that \a path leads to, and leaves the access
 * time as it is. Ignores failures: only its owner may.
 * Thread: Any thread, blocking.
 */
void setModified(const QString& path, const fileops::FileTime& time);

/**
 * Whether \a path leads to a regular file of \a sizeBytes, last modified at \a modifiedMs, whose
 * first and last blocks can be read now. Opening asks the file system itself, whatever the system
 * remembers of the file.
 * Thread: Any thread, blocking.
 */
bool canBeRead(const QString& path, qint64 sizeBytes, qint64 modifiedMs);

/** Whether both are regular files, not links, with the same bytes. Thread: Any thread, blocking. */
bool haveSameContent(const QString& first, const QString& second);

} // namespace actions
