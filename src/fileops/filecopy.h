#pragma once

#include "fileops/newfile.h"
#include "fileops/sourcefile.h"
#include "fileops/targetpath.h"

#include <memory>

/** Linux only: the copy of a file that copying and moving between file systems make. */
namespace fileops {

/** How a copy gets its name, the best way first. Each way needs less of the file system. */
enum class Naming {
    Link,   ///< Written without a name, linked when complete. A kill leaves nothing.
    Rename, ///< Written under a temporary name, renamed when complete. A kill leaves that file.
    Create, ///< Created under its name. A kill leaves an incomplete file.
};

/** Copies attributes, not the content, of \a source to \a copy. False on failure. */
using CopyAttributes = bool (*)(NewFile& copy, const SourceFile& source);

/**
 * Copies \a source to a new file with the name of \a target, in the first way from \a first on that
 * the file system supports. The content is flushed to disk, the name is not: see flushName().
 *
 * Returns the complete copy, which removes itself unless it is kept.
 *
 * Errors: null, and the target directory is as it was unless removing the copy failed. A \a source
 * that is changed meanwhile is an error.
 * Thread: Any thread, blocking. Needs 128 KiB of stack.
 */
std::unique_ptr<NewFile> copyToNewFile(const SourceFile& source, const TargetPath& target,
                                       CopyAttributes copyAttributes, Naming first);

/**
 * Flushes the name of \a copy, made by copyToNewFile(), to disk, and closes the copy.
 *
 * Errors: false; the name may be lost if the system crashes. Thread: Any thread, blocking.
 */
bool flushName(NewFile& copy, const TargetPath& target);

} // namespace fileops
