#include "fileops/filesystemkind.h"

#include <QFile>

#include <optional>

#ifdef Q_OS_LINUX
#include <linux/magic.h>
#include <sys/vfs.h>
#endif

namespace fileops {

namespace {

#ifdef Q_OS_LINUX

/** Numbers that are not in the kernel's header, from the sources of these file systems. */
enum : quint32 {
    kAufs = 0x61756673,
    kBeeGfs = 0x19830326,
    kGpfs = 0x47504653,
    kLustre = 0x0BD00BD0,
    kOrangeFs = 0x20030528,
    kParallels = 0x7C7C6673,
    kVirtualBox = 0x786F4256,
    kVmware = 0xBACBACBC,
};

FileSystemKind kindOfType(quint32 type)
{
    switch (type) {
    case OVERLAYFS_SUPER_MAGIC:
    case kAufs:
        return FileSystemKind::Layered;
    case FUSE_SUPER_MAGIC: // also a virtual machine's shared folders (virtiofs)
    case NFS_SUPER_MAGIC:
    case SMB_SUPER_MAGIC:
    case CIFS_SUPER_MAGIC:
    case SMB2_SUPER_MAGIC:
    case AFS_SUPER_MAGIC:
    case AFS_FS_MAGIC:
    case CEPH_SUPER_MAGIC:
    case CODA_SUPER_MAGIC:
    case NCP_SUPER_MAGIC:
    case V9FS_MAGIC:
    case kBeeGfs:
    case kGpfs:
    case kLustre:
    case kOrangeFs:
    case kParallels:
    case kVirtualBox:
    case kVmware:
        return FileSystemKind::FuseOrNetwork;
    default:
        return FileSystemKind::Local;
    }
}

std::optional<FileSystemKind> kindAt(const QString& path)
{
    struct statfs fileSystem = {};
    if (::statfs(QFile::encodeName(path).constData(), &fileSystem) != 0) {
        return std::nullopt;
    }
    return kindOfType(static_cast<quint32>(fileSystem.f_type));
}

#else

std::optional<FileSystemKind> kindAt(const QString& /*path*/)
{
    return FileSystemKind::Local;
}

#endif

} // namespace

FileSystemKind FileSystems::kindOf(quint64 device, const QString& path)
{
    const auto known = m_kinds.constFind(device);
    if (known != m_kinds.cend()) {
        return *known;
    }
    const std::optional<FileSystemKind> kind = kindAt(path);
    if (kind) {
        m_kinds.insert(device, *kind);
    }
    return kind.value_or(FileSystemKind::FuseOrNetwork);
}

} // namespace fileops
