#include "fileops/filecopying.h"

#include <QRandomGenerator>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fileops {

namespace {

constexpr size_t kBlockSize = 128UL * 1024;

int openDirectory(const QByteArray& path, qsizetype slash)
{
    // The slash stays: it makes "/" of a file in the root directory.
    const QByteArray directory = slash < 0 ? QByteArray(".") : path.left(slash + 1);
    return uninterrupted(
        [&directory] { return ::open(directory.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC); });
}

/** Opening a device or a pipe can have effects of its own, so nothing else is opened. */
bool isRegularFile(const NameIn& name, Source::Links links)
{
    struct stat file = {};
    const int flags = links == Source::Links::Refuse ? AT_SYMLINK_NOFOLLOW : 0;
    return ::fstatat(name.directory, name.name.constData(), &file, flags) == 0 &&
           S_ISREG(file.st_mode);
}

int openSource(const NameIn& name, Source::Links links)
{
    if (!isRegularFile(name, links)) {
        return -1;
    }
    // Should a pipe have taken the name of the file by now, opening it must not wait for a writer.
    const int flags =
        O_RDONLY | O_NONBLOCK | O_CLOEXEC | (links == Source::Links::Refuse ? O_NOFOLLOW : 0);
    return uninterrupted(
        [&name, flags] { return ::openat(name.directory, name.name.constData(), flags); });
}

bool writeAll(int descriptor, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t written = uninterrupted([=] { return ::write(descriptor, data, size); });
        if (written <= 0) {
            return false;
        }
        data += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

/** Copies everything, which must be \a size bytes. A file that keeps growing is given up. */
bool copyContent(int source, int destination, off_t size)
{
    // Where file systems can share content between files, that takes neither time nor room.
    if (::ioctl(destination, FICLONE, source) == 0) {
        return true;
    }
    std::array<char, kBlockSize> block;
    off_t copied = 0;
    while (copied <= size) {
        const ssize_t length =
            uninterrupted([&] { return ::read(source, block.data(), block.size()); });
        if (length < 0) {
            return false;
        }
        if (length == 0) {
            return copied == size;
        }
        if (!writeAll(destination, block.data(), static_cast<size_t>(length))) {
            return false;
        }
        copied += length;
    }
    return false;
}

/** Whether a file system answers so what it cannot do at all, EINVAL being the kernel's answer for
 *  one that has no such function. EROFS is none: it is what becomes of a disk that fails. */
bool isUnsupported(int error)
{
    return error == EINVAL || error == EOPNOTSUPP || error == ENOSYS;
}

bool isSameTime(const timespec& first, const timespec& second)
{
    return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

} // namespace

Target::Target(const QByteArray& path)
    : m_slash(path.lastIndexOf('/'))
    , m_directory(openDirectory(path, m_slash))
    , m_name(path.mid(m_slash + 1))
{
}

NameIn Target::temporaryName() const
{
    return {m_directory.get(),
            QByteArray(".quorvel-") +
                QByteArray::number(QRandomGenerator::global()->generate64(), 16)};
}

bool Target::isTaken() const
{
    struct stat file = {};
    return ::fstatat(m_directory.get(), m_name.constData(), &file, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Target::flush() const
{
    const FileDescriptor readable(uninterrupted(
        [this] { return ::openat(m_directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (!readable.isOpen()) {
        // Names can be made in some directories that cannot be read, and then not be flushed.
        return errno == EACCES || errno == EPERM || isUnsupported(errno);
    }
    return uninterrupted([&readable] { return ::fsync(readable.get()); }) == 0 ||
           isUnsupported(errno);
}

Source::Source(const NameIn& name, Links links)
    : m_descriptor(openSource(name, links))
{
    m_isRegular = m_descriptor.isOpen() && ::fstat(m_descriptor.get(), &m_status) == 0 &&
                  S_ISREG(m_status.st_mode);
}

bool Source::isUnchanged() const
{
    struct stat now = {};
    return ::fstat(m_descriptor.get(), &now) == 0 && now.st_size == m_status.st_size &&
           isSameTime(now.st_mtim, m_status.st_mtim) && isSameTime(now.st_ctim, m_status.st_ctim);
}

bool fill(NewFile& copy, const Source& source, KeepAttributes keep)
{
    // What was read for an earlier copy is read again.
    return copy.isOpen() && ::lseek(source.descriptor(), 0, SEEK_SET) == 0 &&
           copyContent(source.descriptor(), copy.descriptor(), source.status().st_size) &&
           keep(copy, source) &&
           uninterrupted([&copy] { return ::fsync(copy.descriptor()); }) == 0 && copy.refresh() &&
           copy.status().st_size == source.status().st_size && source.isUnchanged();
}

} // namespace fileops
