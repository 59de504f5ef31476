#include "fileops/samefile.h"

#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#else
#include <QDateTime>
#endif

namespace fileops {

namespace {

/** Whether the status of a file may come from a cache of the system. */
enum class Status { FromCache, FromSource };

#ifdef Q_OS_UNIX

#ifdef Q_OS_DARWIN
timespec modifiedAt(const struct stat& file)
{
    return file.st_mtimespec;
}

timespec changedAt(const struct stat& file)
{
    return file.st_ctimespec;
}
#else
timespec modifiedAt(const struct stat& file)
{
    return file.st_mtim;
}

timespec changedAt(const struct stat& file)
{
    return file.st_ctim;
}
#endif

FileTime toFileTime(const timespec& time)
{
    return {static_cast<qint64>(time.tv_sec), static_cast<qint64>(time.tv_nsec)};
}

#ifdef Q_OS_LINUX
/** Brings the system's cache of another program's or machine's file up to date. */
bool refreshCache(const QByteArray& path)
{
    struct statx file = {};
    return ::statx(AT_FDCWD, path.constData(), AT_STATX_FORCE_SYNC, STATX_BASIC_STATS, &file) == 0;
}
#else
bool refreshCache(const QByteArray& /*path*/)
{
    return true;
}
#endif

std::optional<FileIdentity> statusOf(const QString& path, Status origin = Status::FromCache)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat file = {};
    if ((origin == Status::FromSource && !refreshCache(name)) ||
        ::stat(name.constData(), &file) != 0 || !S_ISREG(file.st_mode)) {
        return std::nullopt;
    }
    return FileIdentity{path,
                        static_cast<quint64>(file.st_dev),
                        static_cast<quint64>(file.st_ino),
                        static_cast<qint64>(file.st_size),
                        toFileTime(modifiedAt(file)),
                        toFileTime(changedAt(file))};
}

#else

std::optional<FileIdentity> statusOf(const QString& path, Status /*origin*/ = Status::FromCache)
{
    const QFileInfo file(path);
    if (!file.isFile()) {
        return std::nullopt;
    }
    const qint64 modifiedMs = file.lastModified().toMSecsSinceEpoch();
    return FileIdentity{file.canonicalFilePath(),
                        0,
                        0,
                        file.size(),
                        {modifiedMs / 1000, modifiedMs % 1000 * 1'000'000}};
}

#endif

bool hasSameInode(const FileIdentity& first, const FileIdentity& second)
{
    return first.hasInode() ? first.device == second.device && first.inode == second.inode
                            : first.path == second.path;
}

/** Whether one of two files on different devices is the other one, shown by its file system. */
bool isShownTwice(const FileIdentity& first, const FileIdentity& second)
{
    if (first.size != second.size) {
        return false;
    }
    if (first.kind == FileSystemKind::FuseOrNetwork &&
        second.kind == FileSystemKind::FuseOrNetwork) {
        return first.modified.seconds == second.modified.seconds;
    }
    return (first.kind != FileSystemKind::Local || second.kind != FileSystemKind::Local) &&
           first.modified == second.modified && first.changed == second.changed;
}

bool isAsciiLetter(QChar letter)
{
    return (letter >= u'a' && letter <= u'z') || (letter >= u'A' && letter <= u'Z');
}

/**
 * \a path with one letter of its file name in the other case, so that it differs from \a other,
 * too; empty if the name has no such letter. The suffix of an audio file has one or more.
 */
QString thirdSpelling(const QString& path, const QString& other)
{
    constexpr ushort kCaseBit = 0x20; // of an ASCII letter
    for (qsizetype i = path.size() - 1; i >= 0 && path.at(i) != u'/'; --i) {
        if (isAsciiLetter(path.at(i))) {
            QString spelling = path;
            spelling[i] = QChar(static_cast<ushort>(path.at(i).unicode() ^ kCaseBit));
            if (spelling != other) {
                return spelling;
            }
        }
    }
    return {};
}

/**
 * Whether two paths on one device are spellings of one. Drivers in user space give each spelling of
 * a folder, and so each file below it, a number of its own.
 */
bool isSpelledTwice(const FileIdentity& first, const FileIdentity& second)
{
    const QString& path = first.resolvedPath;
    const QString& other = second.resolvedPath;
    if (first.size != second.size || first.modified != second.modified || path == other ||
        path.compare(other, Qt::CaseInsensitive) != 0) {
        return false;
    }
    const std::optional<FileIdentity> third = statusOf(thirdSpelling(path, other));
    return third && third->device == first.device && third->size == first.size &&
           third->modified == first.modified;
}

} // namespace

std::optional<FileIdentity> identityOf(const QString& path, FileSystems& fileSystems)
{
    std::optional<FileIdentity> identity = statusOf(path);
    if (!identity) {
        return std::nullopt;
    }
    const FileSystemKind kind = fileSystems.kindOf(identity->device, path);
    if (kind == FileSystemKind::FuseOrNetwork) {
        identity = statusOf(path, Status::FromSource);
        if (identity) {
            identity->resolvedPath = QFileInfo(path).canonicalFilePath();
        }
    }
    if (identity) {
        identity->kind = kind;
    }
    return identity;
}

bool isStillThere(const FileIdentity& identity)
{
    if (identity.kind == FileSystemKind::Local) {
        return true;
    }
#ifdef Q_OS_UNIX
    // Does not wait if it is a pipe by now.
    const int descriptor = ::open(QFile::encodeName(identity.path).constData(),
                                  O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        return errno == EACCES || errno == EPERM;
    }
    ::close(descriptor);
    return true;
#else
    return QFile(identity.path).open(QFile::ReadOnly);
#endif
}

bool isSameFile(const FileIdentity& first, const FileIdentity& second)
{
    if (hasSameInode(first, second)) {
        return true;
    }
    return first.device != second.device ? isShownTwice(first, second)
                                         : isSpelledTwice(first, second);
}

bool isSameFile(const QString& first, const QString& second)
{
    FileSystems fileSystems;
    const std::optional<FileIdentity> one = identityOf(first, fileSystems);
    const std::optional<FileIdentity> other = identityOf(second, fileSystems);
    return one && other && isSameFile(*one, *other);
}

} // namespace fileops
