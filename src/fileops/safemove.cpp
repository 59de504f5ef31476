#include "fileops/safemove.h"

#include <QFile>

#ifdef Q_OS_LINUX
#include "fileops/copyingmove.h"
#include "fileops/exclusiverename.h"
#include "fileops/usablepath.h"

#include <fcntl.h>
#endif

namespace fileops {

#ifdef Q_OS_LINUX

bool moveWithoutOverwriting(const QString& source, const QString& destination)
{
    if (!isUsable(source) || !isUsable(destination) || !QFile::exists(source)) {
        return false;
    }
    const QByteArray from = QFile::encodeName(source);
    const QByteArray to = QFile::encodeName(destination);
    switch (renameExclusively({AT_FDCWD, from}, {AT_FDCWD, to})) {
    case RenameOutcome::Done:
        return true;
    case RenameOutcome::Refused:
        return false;
    case RenameOutcome::OtherFileSystem:
        return moveByCopying(from, to, CopyName::Temporary);
    case RenameOutcome::Unsupported:
        return moveByCopying(from, to, CopyName::Final);
    }
    return false;
}

#else

bool moveWithoutOverwriting(const QString& source, const QString& destination)
{
    return QFile::rename(source, destination);
}

#endif

} // namespace fileops
