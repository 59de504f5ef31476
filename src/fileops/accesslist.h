#pragma once

#include "fileops/filecopying.h"
#include "fileops/newfile.h"

#include <optional>
#include <sys/types.h>

namespace fileops {

/**
 * Gives \a copy the access control list of \a source, and takes away one that it inherited from its
 * folder. Returns the mode that may be set then: \a mode, or, where the target file system does not
 * take the list, no more of it than the list gives the group. Linux only.
 *
 * Errors: nothing if the list cannot be read, or an inherited one not be taken away.
 * Thread: any thread, blocking. Reentrant.
 */
std::optional<mode_t> keepAccessList(const NewFile& copy, const Source& source, mode_t mode);

} // namespace fileops
