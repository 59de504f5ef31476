#include "fileops/fileworkers.h"

#include "fileops/safemove.h"

#include <QFile>
#include <QFileInfo>

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
    // Opening a named pipe would wait for a writer, for ever if none comes.
    if (!QFileInfo(paths.first).isFile() || paths.second.isEmpty()) {
        return false;
    }
    if (!QFile::copy(paths.first, paths.second)) {
        return false;
    }
    // The toolkit takes an early end of the data for the end of the file.
    if (QFileInfo(paths.second).size() == QFileInfo(paths.first).size()) {
        return true;
    }
    QFile::remove(paths.second);
    return false;
}

} // namespace fileops
