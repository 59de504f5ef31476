#pragma once

#include "fileops/exclusiverename.h"
#include "fileops/filedescriptor.h"

#include <sys/stat.h>
#include <utility>

namespace fileops {

/**
 * A new file, open for writing. The destructor removes it unless it is kept, and leaves a file that
 * took its name meanwhile. Linux only.
 *
 * Thread: Reentrant: one object per thread.
 */
class NewFile
{
public:
    /** Where to create a file without a name. */
    struct Unnamed
    {
        int directory;
    };

    /** Creates a file that only its owner may read. isOpen() is false if the name is taken. */
    explicit NewFile(NameIn name);
    /**
     * Creates a file without a name, which vanishes with its descriptor unless giveName() names it.
     * isUnsupported() is true if the file system or the kernel has no such files.
     */
    explicit NewFile(Unnamed place);
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
    /** The status of the file as of its creation or of the last refresh(). */
    const struct stat& status() const
    {
        return m_status;
    }

    /** Reads the status again. False on failure. */
    bool refresh();
    /** Flushes the file, but not its name, to disk. False on failure. */
    bool flush();
    /**
     * Names a file without a name. \a name must be free.
     *
     * Errors: any outcome but Done; nothing is changed then.
     */
    RenameOutcome giveName(const NameIn& name);
    /** Renames a file that has a name, as renameExclusively() does. */
    RenameOutcome rename(const NameIn& name);
    /** Closes the file. False if the system reports a failure, e.g. of a delayed write. */
    bool close()
    {
        return m_descriptor.close();
    }
    /** Makes the destructor leave the file. */
    void keep()
    {
        m_kept = true;
    }

private:
    NameIn m_name;
    FileDescriptor m_descriptor;
    struct stat m_status = {};
    bool m_kept = false;
    bool m_unsupported = false;
};

} // namespace fileops
