#include "fileops/fileoperations.h"

#include <QFile>

#ifdef Q_OS_LINUX
#include "fileops/exclusiverename.h"
#include "fileops/fileattributes.h"
#include "fileops/filecopy.h"
#include "fileops/newfile.h"
#include "fileops/sourcefile.h"
#include "fileops/targetpath.h"
#include "fileops/usablepath.h"

#include <array>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#else
#include <QFileInfo>
#endif

namespace fileops {

bool deleteFile(const QString& path)
{
    return !path.isEmpty() && QFile::remove(path);
}

#ifdef Q_OS_LINUX

namespace {

bool moveRegularFile(const NameIn& from, const TargetPath& target, Naming first)
{
    const SourceFile source(from, SourceFile::Links::Refuse);
    if (!source.isOpen()) {
        return false;
    }
    const std::unique_ptr<NewFile> copy = copyToNewFile(source, target, &copyAllAttributes, first);
    if (!copy) {
        return false;
    }
    // From here on the copy may be the only file left, so only undoMove() may remove it.
    copy->keep();
    if (!flushName(*copy, target)) {
        undoMove(from, target.name(), copy->status());
        return false;
    }
    return source.isUnchanged() ? finishMove(from, source.status(), target.name(), copy->status())
                                : undoMove(from, target.name(), copy->status());
}

/** Makes the link anew with the same text: it is complete from its first moment. */
bool moveSymbolicLink(const NameIn& from, const struct stat& link, const TargetPath& target)
{
    const NameIn to = target.name();
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
    copyLinkTimes(to, link);
    if (!target.flush()) {
        undoMove(from, to, made);
        return false;
    }
    return finishMove(from, link, to, made);
}

/** Makes a new file and removes \a from when the new one is complete and on disk. */
bool moveByCopying(const NameIn& from, const QByteArray& destination, Naming first)
{
    const TargetPath target(destination);
    struct stat file = {};
    if (!target.isOpen() || target.isTaken() ||
        ::fstatat(from.directory, from.name.constData(), &file, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    if (S_ISLNK(file.st_mode)) {
        return moveSymbolicLink(from, file, target);
    }
    return S_ISREG(file.st_mode) && moveRegularFile(from, target, first);
}

} // namespace

bool moveFile(const SourceAndDestination& paths)
{
    const auto& [source, destination] = paths;
    if (!isUsable(source) || !isUsable(destination) || !QFile::exists(source)) {
        return false;
    }
    const NameIn from = {AT_FDCWD, QFile::encodeName(source)};
    const QByteArray to = QFile::encodeName(destination);
    switch (renameExclusively(from, {AT_FDCWD, to})) {
    case RenameOutcome::Done:
        return true;
    case RenameOutcome::Refused:
        return false;
    case RenameOutcome::OtherFileSystem:
        return moveByCopying(from, to, Naming::Link);
    case RenameOutcome::Unsupported:
        return moveByCopying(from, to, Naming::Create);
    }
    return false;
}

bool copyFile(const SourceAndDestination& paths)
{
    const auto& [source, destination] = paths;
    if (!isUsable(source) || !isUsable(destination)) {
        return false;
    }
    const SourceFile from({AT_FDCWD, QFile::encodeName(source)}, SourceFile::Links::Follow);
    const TargetPath target(QFile::encodeName(destination));
    if (!from.isOpen() || !target.isOpen() || target.isTaken()) {
        return false;
    }
    const std::unique_ptr<NewFile> copy =
        copyToNewFile(from, target, &copyPermissions, Naming::Link);
    if (!copy || !flushName(*copy, target)) {
        return false;
    }
    copy->keep();
    return true;
}

#else

bool moveFile(const SourceAndDestination& paths)
{
    return QFile::rename(paths.first, paths.second);
}

bool copyFile(const SourceAndDestination& paths)
{
    const auto& [source, destination] = paths;
    // Opening a named pipe would wait for a writer, for ever if none comes.
    if (!QFileInfo(source).isFile() || destination.isEmpty() || !QFile::copy(source, destination)) {
        return false;
    }
    // The toolkit takes an early end of the data for the end of the file.
    if (QFileInfo(destination).size() == QFileInfo(source).size()) {
        return true;
    }
    QFile::remove(destination);
    return false;
}

#endif

} // namespace fileops
