#pragma once

#include "fileops/filecopying.h"
#include "fileops/newfile.h"

struct stat;

/** Linux only: what goes along with the content of a moved or copied file. */
namespace fileops {

/**
 * Gives \a copy the mode, the access and modification time and, where the system allows it, the
 * owner, group, access control list and extended attributes of \a source.
 *
 * A file system that has no modes, times or owners of its own, or none of the mode but the
 * permissions, is no error; any other failure is.
 * Thread: any thread, blocking. Reentrant.
 */
bool keepAttributes(NewFile& copy, const Source& source);

/**
 * Lets those read, write and execute \a copy, whose owner is the user, who may with \a source.
 * Where that cannot be done, only the owner may, which is no reason to do without the copy: always
 * true.
 */
bool keepPermissions(NewFile& copy, const Source& source);

/** Gives the symbolic link \a name the times of \a source, if that can be done. */
void keepLinkTimes(const NameIn& name, const struct stat& source);

} // namespace fileops
