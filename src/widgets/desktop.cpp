#include "widgets/desktop.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QUrl>

#ifdef QUORVEL_HAS_DBUS
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#endif

using namespace Qt::StringLiterals;

namespace {

void openFolderOf(const QString& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).path()));
}

#ifdef QUORVEL_HAS_DBUS
/** The interface that file managers of the free desktops have in common; false without a bus. */
bool askFileManager(const QString& path)
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        u"org.freedesktop.FileManager1"_s, u"/org/freedesktop/FileManager1"_s,
        u"org.freedesktop.FileManager1"_s, u"ShowItems"_s);
    const QString startupId;
    call << QStringList{QString::fromLatin1(QUrl::fromLocalFile(path).toEncoded())} << startupId;
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(call), qApp);
    QObject::connect(answer, &QDBusPendingCallWatcher::finished, answer, [answer, path] {
        answer->deleteLater();
        if (answer->isError()) {
            openFolderOf(path);
        }
    });
    return true;
}
#else
bool askFileManager(const QString& /*path*/)
{
    return false;
}
#endif

} // namespace

void desktop::copyPaths(const QStringList& paths)
{
    QGuiApplication::clipboard()->setText(paths.join(u'\n'));
}

void desktop::showFile(const QString& path)
{
    if (!askFileManager(path)) {
        openFolderOf(path);
    }
}
