#include "fileops/copyingmove.h"

#include "fileops/exclusiverename.h"
#include "fileops/fileattributes.h"
#include "fileops/filecopying.h"
#include "fileops/newfile.h"

#include <array>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fileops {

namespace {

/** The last step, when the copy is complete and has its name: one of the two files goes. */
bool removeMoved(const NameIn& from, const Source& source, const Target& target,
                 const struct stat& copiedFile)
{
    if (!target.flush()) {
        withdraw(from, target.name(), copiedFile);
        return false;
    }
    return source.isUnchanged()
               ? removeSourceOrDestination(from, source.status(), target.name(), copiedFile)
               : withdraw(from, target.name(), copiedFile);
}

bool moveRegularFile(const NameIn& from, const Target& target, CopyName copyName)
{
    const Source source(from, Source::Links::Refuse);
    if (!source.isOpen()) {
        return false;
    }
    if (copyName == CopyName::Temporary) {
        NewFile copy(target.temporaryName());
        if (!fill(copy, source, &keepAttributes) || !copy.close()) {
            return false;
        }
        const RenameOutcome outcome = copy.rename(target.name());
        if (outcome == RenameOutcome::Done) {
            copy.keep();
            return removeMoved(from, source, target, copy.status());
        }
        if (outcome != RenameOutcome::Unsupported) {
            return false;
        }
    }
    NewFile copy(target.name());
    if (!fill(copy, source, &keepAttributes) || !copy.close()) {
        return false;
    }
    copy.keep();
    return removeMoved(from, source, target, copy.status());
}

/** A link is made anew with the same text, complete from its first moment. */
bool moveSymbolicLink(const NameIn& from, const struct stat& link, const Target& target)
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
    keepLinkTimes(to, link);
    if (!target.flush()) {
        withdraw(from, to, made);
        return false;
    }
    return removeSourceOrDestination(from, link, to, made);
}

} // namespace

bool moveByCopying(const QByteArray& source, const QByteArray& destination, CopyName copyName)
{
    const NameIn from = {AT_FDCWD, source};
    const Target target(destination);
    struct stat file = {};
    if (!target.isOpen() || target.isTaken() ||
        ::fstatat(from.directory, source.constData(), &file, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    if (S_ISLNK(file.st_mode)) {
        return moveSymbolicLink(from, file, target);
    }
    return S_ISREG(file.st_mode) && moveRegularFile(from, target, copyName);
}

} // namespace fileops
