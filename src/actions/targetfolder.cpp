#include "actions/targetfolder.h"

#include "actions/actionerror.h"
#include "actions/filestate.h"
#include "fileops/targetpath.h"
#include "fileops/usablepath.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace actions {

namespace {

using Inode = std::pair<dev_t, ino_t>;

std::optional<Inode> inodeOf(const QString& path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0) {
        return std::nullopt;
    }
    return Inode(status.st_dev, status.st_ino);
}

QString joined(const QString& folder, const QString& name)
{
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

/** \a path without links, "." and "..", as far as it exists. */
QString resolved(const QString& path)
{
    const bool isAbsolute = path.startsWith(QLatin1Char('/'));
    QString current = isAbsolute ? QStringLiteral("/") : QDir::current().canonicalPath();
    for (const QString& name : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (name == QLatin1String("..")) {
            current = folderOf(current);
        } else if (name != QLatin1String(".")) {
            const QString next = joined(current, name);
            const QString canonical = QFileInfo(next).canonicalFilePath();
            current = canonical.isEmpty() ? next : canonical;
        }
    }
    return current;
}

/** Whether \a path, or a folder above it, has \a inode. */
bool leadsThrough(QString path, const Inode& inode)
{
    while (true) {
        if (inodeOf(path) == inode) {
            return true;
        }
        if (path == QLatin1String("/") || path.isEmpty()) {
            return false;
        }
        path = folderOf(path);
    }
}

QString reasonOf(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

bool isWithin(const QString& inner, const QString& outer)
{
    const QString innerPath = resolved(inner);
    const QString outerPath = resolved(outer);
    if (innerPath == outerPath || innerPath.startsWith(joined(outerPath, QString()))) {
        return true;
    }
    const std::optional<Inode> inode = inodeOf(outerPath);
    return inode && leadsThrough(innerPath, *inode);
}

TargetFolder::TargetFolder(const QString& folder, const QStringList& searched)
    : m_path(fileops::isUsable(folder) ? resolved(folder) : QString())
{
    const FileState::Kind kind = stateOf(m_path).kind;
    if (m_path.isEmpty() || (kind != FileState::Kind::Nothing && kind != FileState::Kind::Folder)) {
        throw ActionError{QStringLiteral("Not a folder: %1").arg(folder)};
    }
    for (const QString& each : searched) {
        if (isWithin(m_path, each)) {
            throw ActionError{QStringLiteral("%1 is in a folder that was searched, %2. Choose a "
                                             "folder outside.")
                                  .arg(m_path, each)};
        }
        if (isWithin(each, m_path)) {
            throw ActionError{QStringLiteral("%1 contains a folder that was searched, %2. Choose "
                                             "another folder.")
                                  .arg(m_path, each)};
        }
    }
}

bool TargetFolder::contains(const QString& path) const
{
    return isWithin(path, m_path);
}

TargetFolder::Missing TargetFolder::missingFor(const QString& destination) const
{
    Missing missing;
    for (QString folder = folderOf(destination);; folder = folderOf(folder)) {
        const FileState::Kind kind = stateOf(folder).kind;
        const bool isRoot = folder == QLatin1String("/");
        if (kind == FileState::Kind::Nothing && !isRoot) {
            missing.folders.prepend(folder);
        } else if (kind != FileState::Kind::Folder) {
            // A link could lead into a folder that was searched.
            missing.objection = QStringLiteral("in the way, and not a folder: %1").arg(folder);
            return missing;
        } else if (m_path.startsWith(folder)) {
            return missing;
        }
    }
}

QString makeFolders(const QStringList& folders)
{
    for (const QString& folder : folders) {
        const QByteArray name = QFile::encodeName(folder);
        if (::mkdir(name.constData(), S_IRWXU) != 0) {
            return QStringLiteral("the folder %1 cannot be made: %2").arg(folder, reasonOf(errno));
        }
        if (!fileops::TargetPath(name).flush()) {
            return QStringLiteral("the folder %1 cannot be flushed to the disk").arg(folder);
        }
    }
    return {};
}

} // namespace actions
