#include "fileops/newfile.h"

#include <fcntl.h>
#include <unistd.h>

namespace fileops {

namespace {

/** No other user may read an incomplete file. */
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
        // The file is new and nobody else knows its name, so it is removed without an identity.
        ::unlinkat(m_name.directory, m_name.name.constData(), 0);
        m_descriptor.close();
        m_kept = true;
    }
}

NewFile::NewFile(Unnamed place)
    : m_name{place.directory, {}}
    , m_descriptor(createUnnamed(place.directory))
    , m_kept(true)
{
    // EOPNOTSUPP is the file system's answer. A kernel without O_TMPFILE opens the directory
    // itself.
    m_unsupported =
        !isOpen() && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL || errno == ENOENT);
    if (isOpen() && !refresh()) {
        m_descriptor.close();
    }
}

NewFile::~NewFile()
{
    if (!m_kept && isNameOf(m_name, m_status)) {
        ::unlinkat(m_name.directory, m_name.name.constData(), 0);
    }
}

RenameOutcome NewFile::giveName(const NameIn& name)
{
    // AT_EMPTY_PATH would need CAP_DAC_READ_SEARCH, which users do not have.
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(m_descriptor.get());
    if (::linkat(AT_FDCWD, link.constData(), name.directory, name.name.constData(),
                 AT_SYMLINK_FOLLOW) != 0) {
        switch (errno) {
        case EPERM: // the file system has no hard links
        case EOPNOTSUPP:
        case ENOSYS:
        case ENOENT: // /proc is not mounted
            return RenameOutcome::Unsupported;
        default:
            return RenameOutcome::Refused;
        }
    }
    m_name = name;
    m_kept = false;
    return RenameOutcome::Done;
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

bool NewFile::flush()
{
    return uninterrupted([this] { return ::fsync(m_descriptor.get()); }) == 0;
}

} // namespace fileops
