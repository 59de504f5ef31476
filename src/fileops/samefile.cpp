#include "fileops/samefile.h"

#include <QFile>
#include <QFileInfo>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace fileops {

namespace {

std::optional<FileIdentity> identityByPath(const QString& path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty()) {
        return std::nullopt;
    }
    return FileIdentity{0, 0, canonical};
}

} // namespace

std::optional<FileIdentity> identityOf(const QString& path)
{
    if (path.isEmpty()) {
        return std::nullopt; // an empty QFileInfo would stand for the working directory
    }
#ifdef Q_OS_UNIX
    struct stat file = {};
    if (::stat(QFile::encodeName(path).constData(), &file) != 0) {
        return std::nullopt;
    }
    if (file.st_nlink == 1) {
        return FileIdentity{
            static_cast<quint64>(file.st_dev), static_cast<quint64>(file.st_ino), {}};
    }
#endif
    return identityByPath(path);
}

bool isSameFile(const QString& first, const QString& second)
{
    const std::optional<FileIdentity> identity = identityOf(first);
    return identity && identity == identityOf(second);
}

} // namespace fileops
