#include "fileops/accesslist.h"

#include <acl/libacl.h>
#include <cerrno>
#include <memory>
#include <sys/acl.h>
#include <sys/stat.h>
#include <type_traits>

namespace fileops {

namespace {

struct FreeList
{
    void operator()(acl_t list) const
    {
        ::acl_free(list);
    }
};
using AccessList = std::unique_ptr<std::remove_pointer_t<acl_t>, FreeList>;

/** Whether \a error means that there is no list, or none that this user may read. */
bool hasNoList(int error)
{
    return error == EOPNOTSUPP || error == ENOSYS || error == EINVAL || error == EACCES ||
           error == EPERM;
}

/** The access control list of a file, made from its mode if it has none; null on failure. */
AccessList listOf(const SourceFile& source)
{
    AccessList list(::acl_get_fd(source.descriptor()));
    if (!list && hasNoList(errno)) {
        list.reset(::acl_from_mode(source.status().st_mode));
    }
    return list;
}

bool set(const NewFile& copy, const AccessList& list)
{
    return list && ::acl_set_fd(copy.descriptor(), list.get()) == 0;
}

mode_t groupBits(acl_permset_t permissions)
{
    mode_t bits = 0;
    bits |= ::acl_get_perm(permissions, ACL_READ) == 1 ? S_IRGRP : 0U;
    bits |= ::acl_get_perm(permissions, ACL_WRITE) == 1 ? S_IWGRP : 0U;
    bits |= ::acl_get_perm(permissions, ACL_EXECUTE) == 1 ? S_IXGRP : 0U;
    return bits;
}

/** The permissions of the file's group in \a list, as bits of a mode. */
mode_t groupBits(const AccessList& list)
{
    acl_entry_t entry = nullptr;
    for (int id = ACL_FIRST_ENTRY; ::acl_get_entry(list.get(), id, &entry) == 1;
         id = ACL_NEXT_ENTRY) {
        acl_tag_t tag = ACL_UNDEFINED_TAG;
        acl_permset_t permissions = nullptr;
        if (::acl_get_tag_type(entry, &tag) == 0 && tag == ACL_GROUP_OBJ &&
            ::acl_get_permset(entry, &permissions) == 0) {
            return groupBits(permissions);
        }
    }
    return 0;
}

} // namespace

std::optional<mode_t> copyAccessList(const NewFile& copy, const SourceFile& source, mode_t mode)
{
    const AccessList list = listOf(source);
    if (!list) {
        return std::nullopt;
    }
    if (set(copy, list)) {
        return mode;
    }
    // In the mode of a file with a list, the group's bits are the list's mask. Without the list
    // they would be permissions of the group.
    const mode_t allowed = mode & (~static_cast<mode_t>(S_IRWXG) | groupBits(list));
    // These bits would bring an inherited list into force.
    if (!set(copy, AccessList(::acl_from_mode(allowed))) &&
        ::acl_extended_fd(copy.descriptor()) > 0) {
        return std::nullopt;
    }
    return allowed;
}

} // namespace fileops
