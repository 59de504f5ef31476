#pragma once

#include "fileops/exclusiverename.h"
#include "fileops/filedescriptor.h"

#include <sys/stat.h>

namespace fileops {

/**
 * A regular file that is open for reading. Linux only.
 *
 * Thread: Reentrant: one object per thread.
 */
class SourceFile
{
public:
    enum class Links { Follow, Refuse };

    /** Opens the file without blocking. isOpen() is false if it is not a regular file. */
    SourceFile(const NameIn& name, Links links);

    bool isOpen() const
    {
        return m_isRegular;
    }
    int descriptor() const
    {
        return m_descriptor.get();
    }
    /** The status of the file when it was opened. */
    const struct stat& status() const
    {
        return m_status;
    }
    /**
     * Whether the file is unchanged since it was opened. Compares the change time, too: tag editors
     * like to reset the modification time.
     */
    bool isUnchanged() const;

private:
    FileDescriptor m_descriptor;
    struct stat m_status = {};
    bool m_isRegular = false;
};

} // namespace fileops
