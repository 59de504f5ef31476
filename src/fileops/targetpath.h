#pragma once

#include "fileops/exclusiverename.h"
#include "fileops/filedescriptor.h"

#include <QByteArray>

namespace fileops {

/**
 * A path split into an open directory and a name in it, so that renaming the directory leads no
 * later step elsewhere. Linux only.
 *
 * Thread: Reentrant: one object per thread.
 */
class TargetPath
{
public:
    /** Opens the directory of \a path, which is in the file system's encoding. */
    explicit TargetPath(const QByteArray& path);

    bool isOpen() const
    {
        return m_directory.isOpen() && !m_name.isEmpty();
    }
    NameIn name() const
    {
        return {m_directory.get(), m_name};
    }
    /** A name for an incomplete file: ".quorvel-" and random hexadecimal digits. */
    NameIn temporaryName() const;
    /** Whether anything has the name already, a link that leads nowhere included. */
    bool isTaken() const;
    /**
     * Flushes the names in the directory to disk. A directory that the user may not read, and a
     * file system that cannot flush directories, are no errors.
     *
     * Errors: false; a new name may be lost if the system crashes. Thread: Any thread, blocking.
     */
    bool flush() const;

private:
    qsizetype m_slash;
    FileDescriptor m_directory;
    QByteArray m_name;
};

} // namespace fileops
