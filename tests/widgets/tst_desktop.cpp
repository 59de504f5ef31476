#include "widgets/desktop.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDesktopServices>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

const QString kName = u"org.freedesktop.FileManager1"_s;
const QString kPath = u"/org/freedesktop/FileManager1"_s;

} // namespace

/** A file manager on the session bus, which answers or refuses. */
class FileManager : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    bool refuses = false;
    QStringList shown;

public Q_SLOTS:
    void ShowItems(const QStringList& uris, const QString& /*startupId*/)
    {
        shown += uris;
        if (refuses) {
            sendErrorReply(QDBusError::Failed, u"no"_s);
        }
    }
};

/** Over a session bus of its own. */
class TestDesktop : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void catchUrl(const QUrl& url)
    {
        m_opened.append(url);
    }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void fileManagerSelectsTheFile();
    void folderIsOpenedWhereNoFileManagerAnswers();
    void folderIsOpenedWhereTheFileManagerRefuses();

private:
    bool offer(FileManager& manager);

    QTemporaryDir m_folder;
    QProcess m_daemon;
    QString m_address;
    QList<QUrl> m_opened;
};

void TestDesktop::initTestCase()
{
    const QString daemon = QStandardPaths::findExecutable(u"dbus-daemon"_s);
    if (daemon.isEmpty()) {
        QSKIP("there is no dbus-daemon");
    }
    m_daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_daemon.start(daemon, {u"--session"_s, u"--nofork"_s, u"--print-address"_s,
                            u"--address=unix:dir="_s + m_folder.path()});
    QVERIFY(m_daemon.waitForReadyRead());
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    // Before anything of this process has asked for the session's bus.
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
    QVERIFY(QDBusConnection::sessionBus().isConnected());
}

void TestDesktop::cleanupTestCase()
{
    m_daemon.kill();
    m_daemon.waitForFinished();
}

void TestDesktop::init()
{
    m_opened.clear();
    QDesktopServices::setUrlHandler(u"file"_s, this, "catchUrl");
}

void TestDesktop::cleanup()
{
    QDesktopServices::unsetUrlHandler(u"file"_s);
    QDBusConnection::disconnectFromBus(u"manager"_s);
}

/** Puts \a manager on the bus, over a connection of its own, until the test is over. */
bool TestDesktop::offer(FileManager& manager)
{
    QDBusConnection bus = QDBusConnection::connectToBus(m_address, u"manager"_s);
    return bus.registerObject(kPath, &manager, QDBusConnection::ExportAllSlots) &&
           bus.registerService(kName);
}

void TestDesktop::fileManagerSelectsTheFile()
{
    FileManager manager;
    QVERIFY(offer(manager));
    desktop::showFile(u"/music/50% #1/\u00e9 ?.mp3"_s);
    QTRY_COMPARE(manager.shown, QStringList(u"file:///music/50%25%20%231/%C3%A9%20%3F.mp3"_s));
    // An answer that is wrongly taken for a refusal would have opened the folder by the next one.
    desktop::showFile(u"/b"_s);
    QTRY_COMPARE(manager.shown.size(), 2);
    QCOMPARE(m_opened, QList<QUrl>());
}

void TestDesktop::folderIsOpenedWhereNoFileManagerAnswers()
{
    desktop::showFile(u"/music/50% #1/a.mp3"_s);
    QTRY_COMPARE(m_opened, QList<QUrl>{QUrl::fromLocalFile(u"/music/50% #1"_s)});
}

void TestDesktop::folderIsOpenedWhereTheFileManagerRefuses()
{
    FileManager manager;
    manager.refuses = true;
    QVERIFY(offer(manager));
    desktop::showFile(u"/music/a.mp3"_s);
    QTRY_COMPARE(m_opened, QList<QUrl>{QUrl::fromLocalFile(u"/music"_s)});
    QCOMPARE(manager.shown.size(), 1);
}

QTEST_MAIN(TestDesktop)
#include "tst_desktop.moc"
