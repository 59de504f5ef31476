#include "actions/filestate.h"

#include "fileops/filedescriptor.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace actions {

namespace {

constexpr qint64 kBlockBytes = 64LL * 1024;

fileops::FileTime toFileTime(const statx_timestamp& time)
{
    return {time.tv_sec, time.tv_nsec};
}

FileState::Kind kindOf(mode_t mode)
{
    if (S_ISREG(mode)) {
        return FileState::Kind::RegularFile;
    }
    return S_ISDIR(mode) ? FileState::Kind::Folder : FileState::Kind::Other;
}

/** Whether the \a size bytes from \a offset can all be read. */
bool canReadBlock(int descriptor, qint64 offset, qint64 size)
{
    std::array<char, kBlockBytes> block;
    while (size > 0) {
        const ssize_t length = fileops::uninterrupted(
            [&] { return ::pread(descriptor, block.data(), static_cast<size_t>(size), offset); });
        if (length <= 0) {
            return false;
        }
        offset += length;
        size -= length;
    }
    return true;
}

} // namespace

FileState stateOf(const QString& path)
{
    // Of a file of another program or machine, the system may remember an earlier state.
    struct statx file = {};
    if (::statx(AT_FDCWD, QFile::encodeName(path).constData(),
                AT_SYMLINK_NOFOLLOW | AT_STATX_FORCE_SYNC, STATX_BASIC_STATS, &file) != 0) {
        FileState state;
        state.kind = errno == ENOENT || errno == ENOTDIR ? FileState::Kind::Nothing
                                                         : FileState::Kind::Unknown;
        return state;
    }
    return {kindOf(file.stx_mode), static_cast<qint64>(file.stx_size), toFileTime(file.stx_mtime),
            file.stx_nlink};
}

QString folderOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

std::optional<fileops::FileTime> folderTime(const QString& path)
{
    struct statx folder = {};
    const bool isKnown = ::statx(AT_FDCWD, QFile::encodeName(path).constData(), AT_STATX_FORCE_SYNC,
                                 STATX_BASIC_STATS, &folder) == 0;
    return isKnown ? std::optional(toFileTime(folder.stx_mtime)) : std::nullopt;
}

qint64 milliseconds(const fileops::FileTime& time)
{
    return time.seconds * 1000 + time.nanoseconds / 1'000'000;
}

void setModified(const QString& path, const fileops::FileTime& time)
{
    const QByteArray name = QFile::encodeName(path);
    std::array<timespec, 2> times = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(time.seconds);
    times[1].tv_nsec = static_cast<long>(time.nanoseconds);
    // Programs built with FUSE 2, such as bindfs, ignore a request that sets one of the times alone,
    // and report success.
    struct statx status = {};
    if (::statx(AT_FDCWD, name.constData(), AT_STATX_FORCE_SYNC, STATX_ATIME, &status) == 0) {
        times[0].tv_sec = static_cast<time_t>(status.stx_atime.tv_sec);
        times[0].tv_nsec = static_cast<long>(status.stx_atime.tv_nsec);
    }
    static_cast<void>(::utimensat(AT_FDCWD, name.constData(), times.data(), 0));
}

bool canBeRead(const QString& path, qint64 sizeBytes, qint64 modifiedMs)
{
    const QByteArray name = QFile::encodeName(path);
    // A pipe by this name would wait for a writer.
    const fileops::FileDescriptor file(fileops::uninterrupted([&name] {
        return ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    struct statx status = {};
    if (!file.isOpen() ||
        ::statx(file.get(), "", AT_EMPTY_PATH | AT_STATX_FORCE_SYNC, STATX_BASIC_STATS, &status) !=
            0 ||
        !S_ISREG(status.stx_mode) || static_cast<qint64>(status.stx_size) != sizeBytes ||
        milliseconds(toFileTime(status.stx_mtime)) != modifiedMs) {
        return false;
    }
    const qint64 block = std::min(sizeBytes, kBlockBytes);
    return canReadBlock(file.get(), 0, block) && canReadBlock(file.get(), sizeBytes - block, block);
}

bool haveSameContent(const QString& first, const QString& second)
{
    const FileState one = stateOf(first);
    const FileState other = stateOf(second);
    QFile firstFile(first);
    QFile secondFile(second);
    if (one.kind != FileState::Kind::RegularFile || other.kind != FileState::Kind::RegularFile ||
        one.sizeBytes != other.sizeBytes || !firstFile.open(QFile::ReadOnly) ||
        !secondFile.open(QFile::ReadOnly)) {
        return false;
    }
    qint64 compared = 0;
    while (compared < one.sizeBytes) {
        const QByteArray block = firstFile.read(kBlockBytes);
        if (block.isEmpty() || secondFile.read(block.size()) != block) {
            return false;
        }
        compared += block.size();
    }
    return true;
}

} // namespace actions
