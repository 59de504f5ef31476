#include "filefixture.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace filefixture {

namespace {

constexpr uid_t kNobody = 65534;

/** Mounts of this process are seen by it and its children only, and end with it. */
bool hasMountsOfItsOwn()
{
    static const bool result = ::geteuid() == 0 && ::unshare(CLONE_NEWNS) == 0 &&
                               ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return result;
}

dev_t deviceOf(const QString& path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_dev : 0;
}

} // namespace

bool write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QFile::WriteOnly | QFile::NewOnly) && file.write(content) == content.size() &&
           file.flush();
}

QByteArray read(const QString& path)
{
    QFile file(path);
    if (!file.open(QFile::ReadOnly)) {
        return {};
    }
    const QByteArray content = file.readAll();
    return content.isNull() ? QByteArray("") : content;
}

QByteArray noise(qsizetype size)
{
    QByteArray bytes(size + 3, Qt::Uninitialized);
    QRandomGenerator generator(static_cast<quint32>(size));
    for (qsizetype i = 0; i < size; i += 4) {
        const quint32 word = generator.generate();
        memcpy(bytes.data() + i, &word, qMin<size_t>(4, static_cast<size_t>(bytes.size() - i)));
    }
    bytes.truncate(size);
    return bytes;
}

QStringList entries(const QString& directory)
{
    return QDir(directory).entryList(
        QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

SecondFileSystem::SecondFileSystem(const QByteArray& size)
{
    const QByteArray mountPoint = QFile::encodeName(m_mountPoint.path());
    const QByteArray options = size.isEmpty() ? QByteArray("mode=777") : "mode=777,size=" + size;
    if (hasMountsOfItsOwn() &&
        ::mount("tmpfs", mountPoint.constData(), "tmpfs", 0, options.constData()) == 0) {
        m_mounted = true;
        m_path = m_mountPoint.path();
        return;
    }
    const QString sharedMemory = QStringLiteral("/dev/shm");
    if (size.isEmpty() && deviceOf(sharedMemory) != deviceOf(m_mountPoint.path())) {
        m_sharedMemory =
            std::make_unique<QTemporaryDir>(sharedMemory + QStringLiteral("/quorvel-test-XXXXXX"));
        if (m_sharedMemory->isValid()) {
            m_path = m_sharedMemory->path();
        }
    }
}

SecondFileSystem::~SecondFileSystem()
{
    if (m_mounted) {
        ::umount2(QFile::encodeName(m_mountPoint.path()).constData(), MNT_DETACH);
    }
}

OrdinaryUser::OrdinaryUser()
{
    if (::geteuid() == 0) {
        m_changed = ::setegid(kNobody) == 0 && ::seteuid(kNobody) == 0;
        if (!m_changed) {
            qFatal("cannot become an ordinary user");
        }
    }
}

OrdinaryUser::~OrdinaryUser()
{
    if (m_changed && (::seteuid(0) != 0 || ::setegid(0) != 0)) {
        qFatal("cannot become the administrator again");
    }
}

OpenFolder::OpenFolder()
{
    ::chmod(QFile::encodeName(path()).constData(), 0777);
}

} // namespace filefixture
