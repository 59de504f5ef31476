#include "fileops/sourcefile.h"

#include <fcntl.h>

namespace fileops {

namespace {

/** Opening a device or a pipe can have effects of its own, so nothing else is opened. */
bool isRegularFile(const NameIn& name, SourceFile::Links links)
{
    struct stat file = {};
    const int flags = links == SourceFile::Links::Refuse ? AT_SYMLINK_NOFOLLOW : 0;
    return ::fstatat(name.directory, name.name.constData(), &file, flags) == 0 &&
           S_ISREG(file.st_mode);
}

int openSource(const NameIn& name, SourceFile::Links links)
{
    if (!isRegularFile(name, links)) {
        return -1;
    }
    // If a pipe has taken the name by now, opening it must not wait for a writer.
    const int flags =
        O_RDONLY | O_NONBLOCK | O_CLOEXEC | (links == SourceFile::Links::Refuse ? O_NOFOLLOW : 0);
    return uninterrupted(
        [&name, flags] { return ::openat(name.directory, name.name.constData(), flags); });
}

bool isSameTime(const timespec& first, const timespec& second)
{
    return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

} // namespace

SourceFile::SourceFile(const NameIn& name, Links links)
    : m_descriptor(openSource(name, links))
{
    m_isRegular = m_descriptor.isOpen() && ::fstat(m_descriptor.get(), &m_status) == 0 &&
                  S_ISREG(m_status.st_mode);
}

bool SourceFile::isUnchanged() const
{
    struct stat now = {};
    return ::fstat(m_descriptor.get(), &now) == 0 && now.st_size == m_status.st_size &&
           isSameTime(now.st_mtim, m_status.st_mtim) && isSameTime(now.st_ctim, m_status.st_ctim);
}

} // namespace fileops
