#pragma once

#include "fileops/exclusiverename.h"
#include "fileops/filedescriptor.h"
#include "fileops/newfile.h"

#include <QByteArray>

#include <sys/stat.h>
#include <sys/types.h>

/** Linux only: what making a copy of a file and moving it by copying have in common. */
namespace fileops {

/**
 * A path taken apart into an opened directory and a name in it, so that no later step can be led
 * elsewhere by a directory that is renamed meanwhile. Reentrant.
 */
class Target
{
public:
    /** Opens the directory of \a path, which is in the file system's encoding. */
    explicit Target(const QByteArray& path);

    bool isOpen() const
    {
        return m_directory.isOpen() && !m_name.isEmpty();
    }
    NameIn name() const
    {
        return {m_directory.get(), m_name};
    }
    /** A name for a file that is not complete yet: ".quorvel-" and random hexadecimal digits. */
    NameIn temporaryName() const;
    /** Whether anything has the name already, a link that leads nowhere included. */
    bool isTaken() const;
    /**
     * Flushes the names in the directory to the disk. False if that failed, so that a name given
     * before may be lost. A directory that the user may not read, and a file system that cannot
     * flush directories, are no failure.
     */
    bool flush() const;

private:
    qsizetype m_slash;
    FileDescriptor m_directory;
    QByteArray m_name;
};

/** A regular file that is open for reading. Reentrant. */
class Source
{
public:
    enum class Links { Follow, Refuse };

    /** Opens the file; isOpen() is false of anything that is not a regular file. Never blocks. */
    Source(const NameIn& name, Links links);

    bool isOpen() const
    {
        return m_isRegular;
    }
    int descriptor() const
    {
        return m_descriptor.get();
    }
    /** What the system said of the file when it was opened. */
    const struct stat& status() const
    {
        return m_status;
    }
    /**
     * Whether nobody changed the file since. The change time tells even of a writer that puts the
     * modification time back, as tag editors like to.
     */
    bool isUnchanged() const;

private:
    FileDescriptor m_descriptor;
    struct stat m_status = {};
    bool m_isRegular = false;
};

/** What else than the content a copy gets from its source; false on failure. */
using KeepAttributes = bool (*)(NewFile& copy, const Source& source);

/**
 * Makes \a copy, which is new and empty, a whole copy of \a source with the attributes that \a keep
 * sets, and flushes it to the disk. The copy stays open.
 *
 * Errors: false, also if \a source was changed meanwhile. Thread: any thread, blocking. Reentrant;
 * needs 128 KiB of stack.
 */
bool fill(NewFile& copy, const Source& source, KeepAttributes keep);

} // namespace fileops
