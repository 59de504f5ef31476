#include "fileops/fileattributes.h"

#include "fileops/accesslist.h"
#include "fileops/extendedattributes.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace fileops {

namespace {

constexpr mode_t kAllModeBits = 07777;
constexpr mode_t kPermissionBits = 0777;

std::array<timespec, 2> timesOf(const struct stat& file)
{
    return {file.st_atim, file.st_mtim};
}

/** Sets owner and group, or the group alone: only the administrator may give files away, and a user
 *  may set a group that he is a member of. */
bool copyOwner(NewFile& copy, const struct stat& source)
{
    const struct stat& own = copy.status();
    if (own.st_uid == source.st_uid && own.st_gid == source.st_gid) {
        return true;
    }
    constexpr auto kSameOwner = static_cast<uid_t>(-1);
    if (::fchown(copy.descriptor(), source.st_uid, source.st_gid) == 0 ||
        ::fchown(copy.descriptor(), kSameOwner, source.st_gid) == 0) {
        return copy.refresh();
    }
    return true;
}

/** The mode without the bits that would run the file with another owner's or group's rights. */
mode_t modeFor(const struct stat& copy, const struct stat& source)
{
    mode_t mode = source.st_mode & kAllModeBits;
    if (copy.st_uid != source.st_uid) {
        mode &= ~static_cast<mode_t>(S_ISUID);
    }
    if (copy.st_gid != source.st_gid) {
        mode &= ~static_cast<mode_t>(S_ISGID);
    }
    return mode;
}

/** Whether errno means that the file system has no such attribute. A file system without owners
 *  (FAT) shows new files as those of another user, who alone may set attributes. */
bool isBeyondFileSystem(const NewFile& copy)
{
    return errno == EOPNOTSUPP || errno == ENOSYS ||
           (errno == EPERM && copy.status().st_uid != ::geteuid());
}

bool setMode(const NewFile& copy, mode_t mode)
{
    if (::fchmod(copy.descriptor(), mode) == 0) {
        return true;
    }
    // A file system without set-user-ID, set-group-ID and sticky bits (exFAT) refuses the mode.
    const mode_t permissions = mode & kPermissionBits;
    return (errno == EPERM && permissions != mode &&
            ::fchmod(copy.descriptor(), permissions) == 0) ||
           isBeyondFileSystem(copy);
}

} // namespace

bool copyAllAttributes(NewFile& copy, const SourceFile& source)
{
    // The mode comes late: it may forbid to write. The times come last: every other step changes
    // them.
    if (!copyOwner(copy, source.status()) || !copyExtendedAttributes(copy, source)) {
        return false;
    }
    const std::optional<mode_t> mode =
        copyAccessList(copy, source, modeFor(copy.status(), source.status()));
    if (!mode || !setMode(copy, *mode)) {
        return false;
    }
    const std::array<timespec, 2> times = timesOf(source.status());
    return ::futimens(copy.descriptor(), times.data()) == 0 || isBeyondFileSystem(copy);
}

bool copyPermissions(NewFile& copy, const SourceFile& source)
{
    static_cast<void>(setMode(copy, source.status().st_mode & kPermissionBits));
    return true;
}

void copyLinkTimes(const NameIn& name, const struct stat& source)
{
    const std::array<timespec, 2> times = timesOf(source);
    static_cast<void>(
        ::utimensat(name.directory, name.name.constData(), times.data(), AT_SYMLINK_NOFOLLOW));
}

} // namespace fileops
