#pragma once

#include <QHash>
#include <QString>

namespace fileops {

/** Kinds of file systems, by whether their files may be files of another file system. */
enum class FileSystemKind {
    Local,         ///< Has files of its own.
    Layered,       ///< Shows the files of other folders, with their times (overlay).
    FuseOrNetwork, ///< Served by a program or another machine; may round times to seconds.
};

/**
 * Looks up kinds of file systems, once for each device.
 *
 * Thread: Reentrant: one object per thread.
 */
class FileSystems
{
public:
    /**
     * The kind of the file system with the number \a device, on which \a path is. FuseOrNetwork if
     * the kind is unknown: the most careful answer. Blocking.
     */
    FileSystemKind kindOf(quint64 device, const QString& path);

private:
    QHash<quint64, FileSystemKind> m_kinds;
};

} // namespace fileops
