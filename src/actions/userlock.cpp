#include "actions/userlock.h"

#include "actions/actionerror.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace actions {

namespace {

int openLock(const QString& name)
{
    QDir().mkpath(QFileInfo(name).path());
    const QByteArray path = QFile::encodeName(name);
    return fileops::uninterrupted([&path] {
        return ::open(path.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                      S_IRUSR | S_IWUSR);
    });
}

} // namespace

UserLock::UserLock()
    : m_file(openLock(fileName()))
{
    if (!m_file.isOpen()) {
        throw ActionError{QStringLiteral("The lock %1 cannot be opened: %2")
                              .arg(fileName(), QString::fromLocal8Bit(std::strerror(errno)))};
    }
    if (fileops::uninterrupted([this] { return ::flock(m_file.get(), LOCK_EX | LOCK_NB); }) != 0) {
        throw ActionError{
            errno == EWOULDBLOCK
                ? QStringLiteral("Another apply or undo is running. Wait for its end.")
                : QStringLiteral("The lock %1 cannot be taken: %2")
                      .arg(fileName(), QString::fromLocal8Bit(std::strerror(errno)))};
    }
}

QString UserLock::fileName()
{
    return QDir::homePath() + QStringLiteral("/.local/state/quorvel/apply.lock");
}

} // namespace actions
