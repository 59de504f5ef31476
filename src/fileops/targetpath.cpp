#include "fileops/targetpath.h"

#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fileops {

namespace {

int openDirectory(const QByteArray& path, qsizetype slash)
{
    // The slash stays: it makes "/" of a file in the root directory.
    const QByteArray directory = slash < 0 ? QByteArray(".") : path.left(slash + 1);
    return uninterrupted(
        [&directory] { return ::open(directory.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC); });
}

/** Whether \a error means that the file system has no such function; EINVAL is the kernel's answer
 *  for one without. EROFS is not such an error: a failing disk becomes read-only. */
bool isUnsupported(int error)
{
    return error == EINVAL || error == EOPNOTSUPP || error == ENOSYS;
}

} // namespace

TargetPath::TargetPath(const QByteArray& path)
    : m_slash(path.lastIndexOf('/'))
    , m_directory(openDirectory(path, m_slash))
    , m_name(path.mid(m_slash + 1))
{
}

NameIn TargetPath::temporaryName() const
{
    return {m_directory.get(),
            QByteArray(".quorvel-") +
                QByteArray::number(QRandomGenerator::global()->generate64(), 16)};
}

bool TargetPath::isTaken() const
{
    struct stat file = {};
    return ::fstatat(m_directory.get(), m_name.constData(), &file, AT_SYMLINK_NOFOLLOW) == 0;
}

bool TargetPath::flush() const
{
    const FileDescriptor readable(uninterrupted(
        [this] { return ::openat(m_directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!readable.isOpen()) {
        // Files can be created in a directory that cannot be read, and so not be flushed.
        return errno == EACCES || errno == EPERM || isUnsupported(errno);
    }
    return uninterrupted([&readable] { return ::fsync(readable.get()); }) == 0 ||
           isUnsupported(errno);
}

} // namespace fileops
