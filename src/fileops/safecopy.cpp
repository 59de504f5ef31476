#include "fileops/safecopy.h"

#include <QFile>

#ifdef Q_OS_LINUX
#include "fileops/exclusiverename.h"
#include "fileops/fileattributes.h"
#include "fileops/filecopying.h"
#include "fileops/newfile.h"
#include "fileops/usablepath.h"

#include <fcntl.h>
#else
#include <QFileInfo>
#endif

namespace fileops {

#ifdef Q_OS_LINUX

namespace {

/** The last step, when the copy is complete and has its name, which must reach the disk, too. */
RenameOutcome finish(NewFile& copy, const Target& target)
{
    if (!copy.close() || !target.flush()) {
        return RenameOutcome::Refused;
    }
    copy.keep();
    return RenameOutcome::Done;
}

/** What is killed leaves nothing: until it is complete the copy has no name. */
RenameOutcome copyUnnamed(const Source& source, const Target& target)
{
    NewFile copy = NewFile::unnamedIn(target.name().directory);
    if (copy.isUnsupported()) {
        return RenameOutcome::Unsupported;
    }
    if (!fill(copy, source, &keepPermissions)) {
        return RenameOutcome::Refused;
    }
    const RenameOutcome outcome = copy.giveName(target.name());
    return outcome == RenameOutcome::Done ? finish(copy, target) : outcome;
}

RenameOutcome copyUnderTemporaryName(const Source& source, const Target& target)
{
    NewFile copy(target.temporaryName());
    if (!fill(copy, source, &keepPermissions) || !copy.close()) {
        return RenameOutcome::Refused;
    }
    const RenameOutcome outcome = copy.rename(target.name());
    return outcome == RenameOutcome::Done ? finish(copy, target) : outcome;
}

RenameOutcome copyUnderFinalName(const Source& source, const Target& target)
{
    NewFile copy(target.name());
    return fill(copy, source, &keepPermissions) ? finish(copy, target) : RenameOutcome::Refused;
}

} // namespace

bool copyWithoutOverwriting(const QString& source, const QString& destination)
{
    if (!isUsable(source) || !isUsable(destination)) {
        return false;
    }
    const Source from({AT_FDCWD, QFile::encodeName(source)}, Source::Links::Follow);
    const Target target(QFile::encodeName(destination));
    if (!from.isOpen() || !target.isOpen() || target.isTaken()) {
        return false;
    }
    for (const auto way : {&copyUnnamed, &copyUnderTemporaryName, &copyUnderFinalName}) {
        const RenameOutcome outcome = way(from, target);
        if (outcome != RenameOutcome::Unsupported) {
            return outcome == RenameOutcome::Done;
        }
    }
    return false;
}

#else

bool copyWithoutOverwriting(const QString& source, const QString& destination)
{
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
