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

/** Only the administrator gives files away; a group is set if the user is a member of it. */
bool keepOwner(NewFile& copy, const struct stat& source)
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

/** A file made for another owner must not run with the new one's rights. */
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

/** Whether the failure just seen only says that the file system keeps no such attribute. One that
 *  shows a file just created as somebody else's (FAT, mounted for all) keeps no owners, and then
 *  lets nobody but that owner set anything. */
bool isBeyondFileSystem(const NewFile& copy)
{
    return errno == EOPNOTSUPP || errno == ENOSYS ||
           (errno == EPERM && copy.status().st_uid != ::geteuid());
}

bool keepMode(const NewFile& copy, mode_t mode)
{
    if (::fchmod(copy.descriptor(), mode) == 0) {
        return true;
    }
    // Where there are no set-user-ID, set-group-ID and sticky bits (exFAT), the whole is refused.
    const mode_t permissions = mode & kPermissionBits;
    return (errno == EPERM && permissions != mode &&
            ::fchmod(copy.descriptor(), permissions) == 0) ||
           isBeyondFileSystem(copy);
}

} // namespace

bool keepAttributes(NewFile& copy, const Source& source)
{
    // The mode comes late, since it may forbid to write; the times last, since all else changes
    // them.
    if (!keepOwner(copy, source.status()) || !keepExtendedAttributes(copy, source)) {
        return false;
    }
    const std::optional<mode_t> mode =
        keepAccessList(copy, source, modeFor(copy.status(), source.status()));
    if (!mode || !keepMode(copy, *mode)) {
        return false;
    }
    const std::array<timespec, 2> times = timesOf(source.status());
    return ::futimens(copy.descriptor(), times.data()) == 0 || isBeyondFileSystem(copy);
}

bool keepPermissions(NewFile& copy, const Source& source)
{
    static_cast<void>(keepMode(copy, source.status().st_mode & kPermissionBits));
    return true;
}

void keepLinkTimes(const NameIn& name, const struct stat& source)
{
    const std::array<timespec, 2> times = timesOf(source);
    static_cast<void>(
        ::utimensat(name.directory, name.name.constData(), times.data(), AT_SYMLINK_NOFOLLOW));
}

} // namespace fileops
