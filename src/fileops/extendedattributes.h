#pragma once

#include "fileops/filecopying.h"
#include "fileops/newfile.h"

namespace fileops {

/**
 * Gives \a copy the extended attributes of \a source: those of users, such as ratings and tags, and
 * those of the system as far as the user may read and set them. Linux only.
 *
 * What the target file system does not take is left out, and so is what /etc/xattr.conf excepts.
 * The rights that a program carries (file capabilities) go along only if the copy has the owner and
 * group of the source. Access control lists are left to keepAccessList().
 *
 * Requires: the copy has its owner already, since a change of owner takes file capabilities away,
 * but not yet its mode, since users' attributes are set only on what may be written.
 * Errors: false if an attribute that the user may read cannot be read.
 * Thread: any thread, blocking. Reentrant.
 */
bool keepExtendedAttributes(const NewFile& copy, const Source& source);

} // namespace fileops
