#pragma once

#include "fileops/newfile.h"
#include "fileops/sourcefile.h"

#include <optional>
#include <sys/types.h>

namespace fileops {

/**
 * Copies the access control list of \a source to \a copy, and removes one that \a copy inherited
 * from its directory. Linux only.
 *
 * Returns the mode to set on \a copy: \a mode, or, if the target file system does not take the
 * list, \a mode with no more group bits than the list gives the group.
 *
 * Errors: nothing if the list cannot be read, or an inherited one cannot be removed.
 * Thread: Any thread, blocking.
 */
std::optional<mode_t> copyAccessList(const NewFile& copy, const SourceFile& source, mode_t mode);

} // namespace fileops
