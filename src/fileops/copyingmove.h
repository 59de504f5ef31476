#pragma once

#include <QByteArray>

namespace fileops {

/** Under which name the content of a moved file is written. */
enum class CopyName {
    /** A short temporary one; the final name follows when the file is complete and on disk. */
    Temporary,
    /**
     * The final one at once, for a file system on which a complete file cannot be named without the
     * danger of replacing another: there, creating the file is the only step that fails if the name
     * is taken. A killed program leaves an incomplete file beside the whole source.
     */
    Final,
};

/**
 * Moves a regular file or a symbolic link by making a new one and removing \a source when the new
 * one is complete and on disk; moveWithoutOverwriting() has the guarantees. Linux only.
 *
 * CopyName::Temporary is given up for CopyName::Final where the target file system calls for it.
 * Paths are in the file system's encoding.
 *
 * Errors: false. Thread: any thread, blocking. Reentrant; needs 128 KiB of stack.
 */
bool moveByCopying(const QByteArray& source, const QByteArray& destination, CopyName copyName);

} // namespace fileops
