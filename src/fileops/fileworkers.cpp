#include "fileops/fileworkers.h"

#include "fileops/safecopy.h"
#include "fileops/safemove.h"

#include <QFile>

namespace fileops {

bool deleteFile(const QString& path)
{
    return !path.isEmpty() && QFile::remove(path);
}

bool moveFile(const SourceAndDestination& paths)
{
    return moveWithoutOverwriting(paths.first, paths.second);
}

bool copyFile(const SourceAndDestination& paths)
{
    return copyWithoutOverwriting(paths.first, paths.second);
}

} // namespace fileops
