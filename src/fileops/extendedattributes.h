#pragma once

#include "fileops/newfile.h"
#include "fileops/sourcefile.h"

namespace fileops {

/**
 * Copies the extended attributes of \a source to \a copy: those of users, such as ratings and tags,
 * and those of the system that the user may read and set. Linux only.
 *
 * Leaves out attributes that the target file system does not take, and those that /etc/xattr.conf
 * excepts. File capabilities are copied only if owner and group are the same. Access control lists
 * are left to copyAccessList().
 *
 * Requires: \a copy has its owner, since changing the owner removes file capabilities, but not yet
 * its mode, which may forbid to set users' attributes.
 * Errors: false if an attribute that the user may read cannot be read.
 * Thread: Any thread, blocking.
 */
bool copyExtendedAttributes(const NewFile& copy, const SourceFile& source);

} // namespace fileops
