#include "fileops/exclusiverename.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fileops {

namespace {

bool describe(const NameIn& name, struct stat& file)
{
    return ::fstatat(name.directory, name.name.constData(), &file, AT_SYMLINK_NOFOLLOW) == 0;
}

/** Replaces the exclusive rename: linking fails as atomically if the name is taken. */
RenameOutcome linkThenUnlink(const NameIn& from, const NameIn& to)
{
    struct stat file = {};
    if (!describe(from, file)) {
        return RenameOutcome::Refused;
    }
    if (::linkat(from.directory, from.name.constData(), to.directory, to.name.constData(), 0) !=
        0) {
        switch (errno) {
        case EXDEV:
            return RenameOutcome::OtherFileSystem;
        case EPERM: // no hard links on this file system, or to a file of this kind or owner
        case EOPNOTSUPP:
        case ENOSYS:
        case EMLINK:
            return RenameOutcome::Unsupported;
        default:
            return RenameOutcome::Refused;
        }
    }
    return finishMove(from, file, to, file) ? RenameOutcome::Done : RenameOutcome::Refused;
}

} // namespace

RenameOutcome renameExclusively(const NameIn& from, const NameIn& to)
{
    if (::renameat2(from.directory, from.name.constData(), to.directory, to.name.constData(),
                    RENAME_NOREPLACE) == 0) {
        return RenameOutcome::Done;
    }
    switch (errno) {
    case EXDEV:
        return RenameOutcome::OtherFileSystem;
    case EINVAL: // not supported by the file system
    case ENOSYS: // not supported by the kernel
        return linkThenUnlink(from, to);
    default:
        return RenameOutcome::Refused;
    }
}

bool isNameOf(const NameIn& name, const struct stat& file)
{
    struct stat now = {};
    return describe(name, now) && now.st_dev == file.st_dev && now.st_ino == file.st_ino;
}

bool finishMove(const NameIn& source, const struct stat& sourceFile, const NameIn& destination,
                const struct stat& destinationFile)
{
    return (isNameOf(source, sourceFile) &&
            ::unlinkat(source.directory, source.name.constData(), 0) == 0) ||
           undoMove(source, destination, destinationFile);
}

bool undoMove(const NameIn& source, const NameIn& destination, const struct stat& destinationFile)
{
    struct stat left = {};
    if (!describe(source, left)) {
        // A network file system can remove a file and lose the answer. Then the destination is the
        // only copy.
        return errno == ENOENT;
    }
    if (isNameOf(destination, destinationFile)) {
        ::unlinkat(destination.directory, destination.name.constData(), 0);
    }
    return false;
}

} // namespace fileops
