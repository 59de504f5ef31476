#include "fileops/fileoperations.h"
#include "fileops/unlessstopped.h"

#include "filefixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <memory>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

using filefixture::read;
using filefixture::write;

/** Deleting and copying one file, and the stop flag before each. */
class FileOperationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_directory = std::make_unique<filefixture::OpenFolder>();
    }
    void cleanup()
    {
        m_directory.reset();
    }

    void deleteRemovesTheFile();
    void deleteOfWhatCannotBeRemovedIsFalse();
    void deleteRemovesALinkAndNotItsTarget();
    void deleteWithoutRightsIsFalse();
    void copyIsWholeAndKeepsTheSource();
    void copyHasThePermissionsOfItsSource();
    void copyNeverOverwrites();
    void copyOfALinkIsACopyOfItsTarget();
    void copyThatCannotBeMadeIsFalse();
    void copyDoesNotWaitForANamedPipe();
    void copyToAFullFileSystemLeavesNothing();
    void stoppedWorkerLeavesItsFileAlone();

private:
    QString path(const QString& name) const
    {
        return m_directory->filePath(name);
    }
    std::unique_ptr<filefixture::OpenFolder> m_directory;
};

void FileOperationsTest::deleteRemovesTheFile()
{
    for (const QString& name : {u"a.mp3"_s, u"\U0001F3B5\n.mp3"_s, QString(255, u'n')}) {
        QVERIFY(write(path(name), "x"));
        QVERIFY(fileops::deleteFile(path(name)));
        QVERIFY(!QFile::exists(path(name)));
    }
}

void FileOperationsTest::deleteOfWhatCannotBeRemovedIsFalse()
{
    QVERIFY(!fileops::deleteFile(path(u"absent.mp3"_s)));
    QVERIFY(!fileops::deleteFile(QString()));
    QVERIFY(QDir().mkpath(path(u"folder"_s)));
    QVERIFY(!fileops::deleteFile(path(u"folder"_s)));
    QVERIFY(QFileInfo(path(u"folder"_s)).isDir());
}

void FileOperationsTest::deleteRemovesALinkAndNotItsTarget()
{
    QVERIFY(write(path(u"a.mp3"_s), "x"));
    QVERIFY(QFile::link(path(u"a.mp3"_s), path(u"link.mp3"_s)));
    QVERIFY(fileops::deleteFile(path(u"link.mp3"_s)));
    QCOMPARE(filefixture::entries(m_directory->path()), QStringList(u"a.mp3"_s));
}

void FileOperationsTest::deleteWithoutRightsIsFalse()
{
    QVERIFY(QDir().mkpath(path(u"locked"_s)));
    QVERIFY(write(path(u"locked/a.mp3"_s), "x"));
    QVERIFY(QFile::setPermissions(path(u"locked"_s), QFile::ReadOwner | QFile::ExeOwner |
                                                         QFile::ReadOther | QFile::ExeOther));
    {
        const filefixture::OrdinaryUser user;
        QVERIFY(!fileops::deleteFile(path(u"locked/a.mp3"_s)));
    }
    QCOMPARE(read(path(u"locked/a.mp3"_s)), "x");
    QVERIFY(QFile::setPermissions(path(u"locked"_s),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void FileOperationsTest::copyIsWholeAndKeepsTheSource()
{
    const QByteArray content = filefixture::noise(1'000'003);
    QVERIFY(write(path(u"a.mp3"_s), content));
    QVERIFY(fileops::copyFile({path(u"a.mp3"_s), path(u"b.mp3"_s)}));
    QCOMPARE(read(path(u"b.mp3"_s)), content);
    QCOMPARE(read(path(u"a.mp3"_s)), content);
}

void FileOperationsTest::copyHasThePermissionsOfItsSource()
{
    QVERIFY(write(path(u"a.mp3"_s), QByteArray()));
    const auto modeOf = [this](const QString& name) {
        struct stat file = {};
        ::stat(QFile::encodeName(path(name)).constData(), &file);
        return file.st_mode & 07777U;
    };
    // Set-user-ID, set-group-ID and sticky bits are no permissions.
    for (const mode_t mode : {0640U, 0400U, 0755U, 04755U, 02755U, 01777U}) {
        QCOMPARE(::chmod(QFile::encodeName(path(u"a.mp3"_s)).constData(), mode), 0);
        QVERIFY(fileops::copyFile({path(u"a.mp3"_s), path(u"b.mp3"_s)}));
        QCOMPARE(modeOf(u"b.mp3"_s), mode & 0777U);
        QVERIFY(QFile::remove(path(u"b.mp3"_s)));
    }
}

void FileOperationsTest::copyNeverOverwrites()
{
    QVERIFY(write(path(u"a.mp3"_s), "new"));
    QVERIFY(write(path(u"b.mp3"_s), "old"));
    QVERIFY(!fileops::copyFile({path(u"a.mp3"_s), path(u"b.mp3"_s)}));
    QVERIFY(!fileops::copyFile({path(u"a.mp3"_s), path(u"a.mp3"_s)}));
    QCOMPARE(read(path(u"b.mp3"_s)), "old");
    QCOMPARE(read(path(u"a.mp3"_s)), "new");
}

void FileOperationsTest::copyOfALinkIsACopyOfItsTarget()
{
    QVERIFY(write(path(u"a.mp3"_s), "x"));
    QVERIFY(QFile::link(path(u"a.mp3"_s), path(u"link.mp3"_s)));
    QVERIFY(fileops::copyFile({path(u"link.mp3"_s), path(u"b.mp3"_s)}));
    QVERIFY(!QFileInfo(path(u"b.mp3"_s)).isSymLink());
    QCOMPARE(read(path(u"b.mp3"_s)), "x");
}

void FileOperationsTest::copyThatCannotBeMadeIsFalse()
{
    QVERIFY(write(path(u"a.mp3"_s), "x"));
    QVERIFY(!fileops::copyFile({path(u"absent.mp3"_s), path(u"b.mp3"_s)}));
    QVERIFY(!fileops::copyFile({path(u"a.mp3"_s), path(u"absent/b.mp3"_s)}));
    QVERIFY(!fileops::copyFile({path(u"a.mp3"_s), QString()}));
    QVERIFY(!fileops::copyFile({QString(), path(u"b.mp3"_s)}));
    QVERIFY(!fileops::copyFile({m_directory->path(), path(u"b.mp3"_s)}));
    QVERIFY(!fileops::copyFile({path(u"a.mp3"_s), path(QString(256, u'n'))}));
    QCOMPARE(filefixture::entries(m_directory->path()), QStringList(u"a.mp3"_s));
}

void FileOperationsTest::copyDoesNotWaitForANamedPipe()
{
    QCOMPARE(::mkfifo(QFile::encodeName(path(u"pipe.mp3"_s)).constData(), 0600), 0);
    QVERIFY(!fileops::copyFile({path(u"pipe.mp3"_s), path(u"b.mp3"_s)}));
    QCOMPARE(filefixture::entries(m_directory->path()), QStringList(u"pipe.mp3"_s));
}

void FileOperationsTest::copyToAFullFileSystemLeavesNothing()
{
    const filefixture::SecondFileSystem full("1m");
    if (!full.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    QVERIFY(write(path(u"a.mp3"_s), filefixture::noise(1'500'000)));
    QVERIFY(!fileops::copyFile({path(u"a.mp3"_s), full.filePath(u"b.mp3"_s)}));
    QCOMPARE(filefixture::entries(full.path()), QStringList());
}

void FileOperationsTest::stoppedWorkerLeavesItsFileAlone()
{
    QVERIFY(write(path(u"a.mp3"_s), "x"));
    QVERIFY(write(path(u"b.mp3"_s), "x"));
    std::stop_source stop;
    const fileops::UnlessStopped remove(stop.get_token(), &fileops::deleteFile);
    const fileops::UnlessStopped move(stop.get_token(), &fileops::moveFile);
    const fileops::UnlessStopped copy(stop.get_token(), &fileops::copyFile);
    QVERIFY(remove(path(u"a.mp3"_s)));

    stop.request_stop();
    QVERIFY(!remove(path(u"b.mp3"_s)));
    QVERIFY(!move({path(u"b.mp3"_s), path(u"c.mp3"_s)}));
    QVERIFY(!copy({path(u"b.mp3"_s), path(u"c.mp3"_s)}));
    QCOMPARE(filefixture::entries(m_directory->path()), QStringList(u"b.mp3"_s));

    const fileops::UnlessStopped unaffected(std::stop_source().get_token(), &fileops::deleteFile);
    QVERIFY(unaffected(path(u"b.mp3"_s)));
}

QTEST_GUILESS_MAIN(FileOperationsTest)
#include "tst_fileoperations.moc"
