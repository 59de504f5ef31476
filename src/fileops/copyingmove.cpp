#include "fileops/copyingmove.h"

#include "fileops/exclusiverename.h"
#include "fileops/fileattributes.h"
#include "fileops/filedescriptor.h"
#include "fileops/newfile.h"

#include <QRandomGenerator>

#include <array>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fileops {

namespace {

constexpr size_t kBlockSize = 128UL * 1024;

/** A path taken apart into an opened directory and a name in it, so that no later step can be led
 *  elsewhere by a directory that is renamed meanwhile. */
class Target
{
public:
    explicit Target(const QByteArray& path)
        : m_slash(path.lastIndexOf('/'))
        , m_directory(open(path))
        , m_name(path.mid(m_slash + 1))
    {
    }
    bool isOpen() const
    {
        return m_directory.isOpen() && !m_name.isEmpty();
    }
    NameIn name() const
    {
        return {m_directory.get(), m_name};
    }

private:
    int open(const QByteArray& path) const
    {
        // The slash stays: it makes "/" of a file in the root directory.
        const QByteArray directory = m_slash < 0 ? QByteArray(".") : path.left(m_slash + 1);
        return uninterrupted([&directory] {
            return ::open(directory.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        });
    }

    qsizetype m_slash;
    FileDescriptor m_directory;
    QByteArray m_name;
};

bool isTaken(const NameIn& name)
{
    struct stat file = {};
    return ::fstatat(name.directory, name.name.constData(), &file, AT_SYMLINK_NOFOLLOW) == 0;
}

QByteArray temporaryName()
{
    return QByteArray(".quorvel-") +
           QByteArray::number(QRandomGenerator::global()->generate64(), 16);
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

bool isSameTime(const timespec& first, const timespec& second)
{
    return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

/** Whether nobody changed the open file. The change time tells even of a writer that puts the
 *  modification time back, as tag editors like to. */
bool isUnchanged(int descriptor, const struct stat& before)
{
    struct stat now = {};
    return ::fstat(descriptor, &now) == 0 && now.st_size == before.st_size &&
           isSameTime(now.st_mtim, before.st_mtim) && isSameTime(now.st_ctim, before.st_ctim);
}

/** Makes \a copy a complete copy of the open source that has reached the disk. */
bool complete(NewFile& copy, int source, const struct stat& sourceFile)
{
    return copy.isOpen() && copyContent(source, copy.descriptor(), sourceFile.st_size) &&
           keepAttributes(copy, sourceFile) &&
           uninterrupted([&copy] { return ::fsync(copy.descriptor()); }) == 0 && copy.refresh() &&
           copy.status().st_size == sourceFile.st_size && isUnchanged(source, sourceFile) &&
           copy.close();
}

/** Asks for the name to reach the disk as well. Not every directory may be opened, and not every
 *  file system can do it: the move does not depend on it. */
void flushDirectory(int directory)
{
    const FileDescriptor readable(uninterrupted(
        [directory] { return ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    if (readable.isOpen()) {
        ::fsync(readable.get());
    }
}

/** The last step, when the copy is complete and has its name: one of the two files goes. */
bool removeMoved(const NameIn& from, int source, const struct stat& sourceFile, const NameIn& to,
                 const struct stat& copiedFile)
{
    flushDirectory(to.directory);
    return isUnchanged(source, sourceFile)
               ? removeSourceOrDestination(from, sourceFile, to, copiedFile)
               : withdraw(from, to, copiedFile);
}

bool moveRegularFile(const NameIn& from, const NameIn& to, CopyName copyName)
{
    // Should a pipe have taken the name of the file by now, opening it must not wait for a writer.
    const FileDescriptor source(uninterrupted([&from] {
        return ::openat(from.directory, from.name.constData(),
                        O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }));
    struct stat sourceFile = {};
    if (!source.isOpen() || ::fstat(source.get(), &sourceFile) != 0 ||
        !S_ISREG(sourceFile.st_mode)) {
        return false;
    }
    if (copyName == CopyName::Temporary) {
        NewFile copy({to.directory, temporaryName()});
        if (!complete(copy, source.get(), sourceFile)) {
            return false;
        }
        const RenameOutcome outcome = renameExclusively(copy.name(), to);
        if (outcome == RenameOutcome::Done) {
            copy.keep();
            return removeMoved(from, source.get(), sourceFile, to, copy.status());
        }
        if (outcome != RenameOutcome::Unsupported) {
            return false;
        }
    }
    if (::lseek(source.get(), 0, SEEK_SET) != 0) {
        return false;
    }
    NewFile copy(to);
    if (!complete(copy, source.get(), sourceFile)) {
        return false;
    }
    copy.keep();
    return removeMoved(from, source.get(), sourceFile, to, copy.status());
}

/** A link is made anew with the same text, complete from its first moment. */
bool moveSymbolicLink(const NameIn& from, const struct stat& link, const NameIn& to)
{
    std::array<char, PATH_MAX> text;
    const ssize_t length =
        ::readlinkat(from.directory, from.name.constData(), text.data(), text.size() - 1);
    if (length <= 0) {
        return false;
    }
    text[static_cast<size_t>(length)] = '\0';
    struct stat made = {};
    if (::symlinkat(text.data(), to.directory, to.name.constData()) != 0 ||
        ::fstatat(to.directory, to.name.constData(), &made, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    keepLinkTimes(to, link);
    flushDirectory(to.directory);
    return removeSourceOrDestination(from, link, to, made);
}

} // namespace

bool moveByCopying(const QByteArray& source, const QByteArray& destination, CopyName copyName)
{
    const NameIn from = {AT_FDCWD, source};
    const Target target(destination);
    struct stat file = {};
    if (!target.isOpen() || isTaken(target.name()) ||
        ::fstatat(from.directory, source.constData(), &file, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    if (S_ISLNK(file.st_mode)) {
        return moveSymbolicLink(from, file, target.name());
    }
    return S_ISREG(file.st_mode) && moveRegularFile(from, target.name(), copyName);
}

} // namespace fileops
