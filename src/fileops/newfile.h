#pragma once

#include "fileops/exclusiverename.h"
#include "fileops/filedescriptor.h"

#include <sys/stat.h>
#include <utility>

namespace fileops {

/**
 * A file that did not exist before, open for writing. It is removed again at the end of this
 * object's life unless it is kept; a file that meanwhile took its name is not. Linux only.
 * Reentrant.
 */
class NewFile
{
public:
    /** Creates the file, readable by its owner only; isOpen() is false if the name is taken. */
    explicit NewFile(NameIn name);
    /**
     * Creates a file in \a directory that has no name yet and goes with its descriptor until
     * giveName(). Where the file system knows no such files, isUnsupported() is true.
     */
    static NewFile unnamedIn(int directory)
    {
        return NewFile(directory);
    }
    ~NewFile();
    Q_DISABLE_COPY_MOVE(NewFile)

    bool isOpen() const
    {
        return m_descriptor.isOpen();
    }
    bool isUnsupported() const
    {
        return m_unsupported;
    }
    int descriptor() const
    {
        return m_descriptor.get();
    }
    const NameIn& name() const
    {
        return m_name;
    }
    /** What the system says of the file: as of its creation, or of the last refresh(). */
    const struct stat& status() const
    {
        return m_status;
    }

    /** Asks the system again. False on failure. */
    bool refresh();
    /**
     * Gives a file that has none the name \a name, which must be free. Nothing is changed if that
     * cannot be done.
     */
    RenameOutcome giveName(const NameIn& name);
    /** Gives a file that has a name the name \a name, as renameExclusively() does. */
    RenameOutcome rename(const NameIn& name);
    /** Closes the file and keeps it on disk. False if the system reports a failure. */
    bool close()
    {
        return m_descriptor.close();
    }
    /** Leaves the file where it is. */
    void keep()
    {
        m_kept = true;
    }

private:
    explicit NewFile(int directory);

    NameIn m_name;
    FileDescriptor m_descriptor;
    struct stat m_status = {};
    bool m_kept = false;
    bool m_unsupported = false;
};

} // namespace fileops
