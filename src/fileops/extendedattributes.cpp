#include "fileops/extendedattributes.h"

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string_view>

#include <attr/error_context.h>
#include <attr/libattr.h>

namespace fileops {

namespace {

// The names by which the library reports an error of one of the files.
constexpr auto kSource = "source";
constexpr auto kCopy = "copy";

/** The context that the library passes to its callbacks. */
struct Attributes : error_context
{
    bool isSameOwner = false;
    bool concernsCopy = false;
    bool failed = false;
};

Attributes& attributesOf(error_context* context)
{
    return *static_cast<Attributes*>(context);
}

/** Whether \a error means that the user, or nobody, can read the attribute. An attribute that was
 *  removed meanwhile is such a one: the check for a changed source finds it. */
bool isUnreadable(int error)
{
    return error == EOPNOTSUPP || error == ENOSYS || error == EINVAL || error == EACCES ||
           error == EPERM || error == ENODATA || error == E2BIG;
}

/** Called with the name of the file, or other thing, that an error is about. */
const char* noteFile(error_context* context, const char* name)
{
    attributesOf(context).concernsCopy |= std::strcmp(name, kCopy) == 0;
    return name;
}

/** Called for each error, after noteFile(); errno is still set. */
void noteError(error_context* context, const char* /*format*/, ...)
{
    Attributes& attributes = attributesOf(context);
    attributes.failed |= !attributes.concernsCopy && !isUnreadable(errno);
    attributes.concernsCopy = false;
}

int exceptionFor(const char* name)
{
    // The first call reads the list of exceptions and is not reentrant.
    static std::mutex oneAtATime;
    const std::scoped_lock lock(oneAtATime);
    return ::attr_copy_action(name, nullptr);
}

/** Called for each attribute. If the list of exceptions cannot be read, there are none. */
int isKept(const char* name, error_context* context)
{
    const std::string_view attribute = name;
    if (attribute.starts_with("system.posix_acl_") ||
        (attribute == "security.capability" && !attributesOf(context).isSameOwner)) {
        return 0;
    }
    const int exception = exceptionFor(name);
    return exception != ATTR_ACTION_SKIP && exception != ATTR_ACTION_PERMISSIONS ? 1 : 0;
}

} // namespace

bool copyExtendedAttributes(const NewFile& copy, const SourceFile& source)
{
    Attributes attributes;
    attributes.error = &noteError;
    attributes.quote = &noteFile;
    attributes.quote_free = nullptr;
    attributes.isSameOwner = copy.status().st_uid == source.status().st_uid &&
                             copy.status().st_gid == source.status().st_gid;
    // This ends: the kernel returns at most 64 KiB of names, and 64 KiB of each value.
    static_cast<void>(::attr_copy_fd(kSource, source.descriptor(), kCopy, copy.descriptor(),
                                     &isKept, &attributes));
    return !attributes.failed;
}

} // namespace fileops
