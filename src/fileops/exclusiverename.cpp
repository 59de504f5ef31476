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

/** A link fails where the name is taken, as atomically as the rename that it stands in for. */
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
        case EPERM: // no hard links here, or none to a file of this kind or owner
        case EOPNOTSUPP:
        case ENOSYS:
        case EMLINK:
            return RenameOutcome::Unsupported;
        default:
            return RenameOutcome::Refused;
        }
    }
    return removeSourceOrDestination(from, file, to, file) ? RenameOutcome::Done
                                                           : RenameOutcome::Refused;
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
    case EINVAL: // the file system does not know the flag
    case ENOSYS: // the kernel does not know the call
        return linkThenUnlink(from, to);
    default:
        return RenameOutcome::Refused;
    }
}

bool standsFor(const NameIn& name, const struct stat& file)
{
    struct stat now = {};
    return describe(name, now) && now.st_dev == file.st_dev && now.st_ino == file.st_ino;
}

bool removeSourceOrDestination(const NameIn& source, const struct stat& sourceFile,
                               const NameIn& destination, const struct stat& destinationFile)
{
    return (standsFor(source, sourceFile) &&
            ::unlinkat(source.directory, source.name.constData(), 0) == 0) ||
           withdraw(source, destination, destinationFile);
}

bool withdraw(const NameIn& source, const NameIn& destination, const struct stat& destinationFile)
{
    struct stat left = {};
    if (!describe(source, left)) {
        // A removal can be carried out and its answer get lost (network file systems): then the
        // destination is the only copy.
        return errno == ENOENT;
    }
    if (standsFor(destination, destinationFile)) {
        ::unlinkat(destination.directory, destination.name.constData(), 0);
    }
    return false;
}

} // namespace fileops
