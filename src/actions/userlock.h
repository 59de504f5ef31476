#pragma once

#include "fileops/filedescriptor.h"

#include <QString>

namespace actions {

/**
 * Holds the lock that lets one process of a user move files at a time, until its destruction or a
 * kill: two with opposite results could take each other's references.
 * Thread: Reentrant: one object per thread.
 */
class UserLock
{
public:
    /** Errors: throws ActionError if another process has the lock. */
    UserLock();

    /** The file that is locked. It is in the home folder whatever the environment is otherwise, so
     *  that a nightly job and a terminal have the same one. */
    static QString fileName();

private:
    fileops::FileDescriptor m_file;
};

} // namespace actions
