#pragma once

#include <QHash>
#include <QString>

namespace fileops {

/** File systems, by whether a file of theirs may be a file of another one. */
enum class FileSystemKind {
    Local,         ///< Its files are its own.
    Layered,       ///< Shows the files of other folders, with their times (overlay).
    FuseOrNetwork, ///< A program's or another machine's; times may be rounded to seconds.
};

/** Looks up kinds of file systems, asking once for each device. Thread: one object per thread. */
class FileSystems
{
public:
    /**
     * The kind of the file system with the number \a device, on which \a path is. Where that cannot
     * be found out, it may be any, so it is taken for FuseOrNetwork. Blocking.
     */
    FileSystemKind kindOf(quint64 device, const QString& path);

private:
    QHash<quint64, FileSystemKind> m_kinds;
};

} // namespace fileops
