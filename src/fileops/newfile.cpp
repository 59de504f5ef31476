#include "fileops/newfile.h"

#include <fcntl.h>
#include <unistd.h>

namespace fileops {

namespace {

/** Until the file is complete, nobody else has any business with it. */
constexpr mode_t kModeWhileIncomplete = S_IRUSR | S_IWUSR;

int createNew(const NameIn& name)
{
    return uninterrupted([&name] {
        return ::openat(name.directory, name.name.constData(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kModeWhileIncomplete);
    });
}

int createUnnamed(int directory)
{
    return uninterrupted([directory] {
        return ::openat(directory, ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, kModeWhileIncomplete);
    });
}

} // namespace

NewFile::NewFile(NameIn name)
    : m_name(std::move(name))
    , m_descriptor(createNew(m_name))
{
    m_kept = !isOpen();
    if (isOpen() && !refresh()) {
        // Just made, and nobody else knows the name: no identity is needed to remove it.
        ::unlinkat(m_name.directory, m_name.name.constData(), 0);
        m_descriptor.close();
        m_kept = true;
    }
}

NewFile::NewFile(int directory)
    : m_name{directory, {}}
    , m_descriptor(createUnnamed(directory))
    , m_kept(true)
{
    // The file system, or the kernel, which then takes it for the opening of a directory.
    m_unsupported =
        !isOpen() && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL || errno == ENOENT);
    if (isOpen() && !refresh()) {
        m_descriptor.close();
    }
}

NewFile::~NewFile()
{
    if (!m_kept && standsFor(m_name, m_status)) {
        ::unlinkat(m_name.directory, m_name.name.constData(), 0);
    }
}

RenameOutcome NewFile::giveName(const NameIn& name)
{
    // Naming a descriptor itself takes rights that users do not have.
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(m_descriptor.get());
    if (::linkat(AT_FDCWD, link.constData(), name.directory, name.name.constData(),
                 AT_SYMLINK_FOLLOW) != 0) {
        switch (errno) {
        case EPERM: // no hard links here
        case EOPNOTSUPP:
        case ENOSYS:
        case ENOENT: // no /proc here
            return RenameOutcome::Unsupported;
        default:
            return RenameOutcome::Refused;
        }
    }
    m_name = name;
    m_kept = false;
    return refresh() ? RenameOutcome::Done : RenameOutcome::Refused;
}

RenameOutcome NewFile::rename(const NameIn& name)
{
    const RenameOutcome outcome = renameExclusively(m_name, name);
    if (outcome == RenameOutcome::Done) {
        m_name = name;
    }
    return outcome;
}

bool NewFile::refresh()
{
    return ::fstat(m_descriptor.get(), &m_status) == 0;
}

} // namespace fileops
