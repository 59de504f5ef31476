#pragma once

#include "fileops/newfile.h"
#include "fileops/sourcefile.h"

struct stat;

/** Linux only: the attributes of a file beside its content. */
namespace fileops {

/**
 * Copies the mode, the access and modification time and, where the system allows it, the owner,
 * group, access control list and extended attributes of \a source to \a copy.
 *
 * A file system without modes, times or owners, or without mode bits beyond the permissions, is not
 * an error.
 *
 * Errors: false on any other failure. Thread: Any thread, blocking.
 */
bool copyAllAttributes(NewFile& copy, const SourceFile& source);

/**
 * Copies the permission bits of \a source to \a copy. If that fails, \a copy stays readable by its
 * owner only.
 *
 * Returns true: a copy without the permissions is better than none. Thread: Any thread, blocking.
 */
bool copyPermissions(NewFile& copy, const SourceFile& source);

/**
 * Copies the times of \a source to the symbolic link \a name. Ignores failures.
 *
 * Thread: Any thread, blocking.
 */
void copyLinkTimes(const NameIn& name, const struct stat& source);

} // namespace fileops
