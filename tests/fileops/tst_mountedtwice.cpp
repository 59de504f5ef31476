#include "fileops/keptfiles.h"
#include "fileops/samefile.h"
#include "results/duplicaterows.h"

#include "filefixture.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::write;

namespace {

/** Runs a program to its end; why that failed, or nothing. */
QString failureOf(const QString& program, const QStringList& arguments)
{
    if (QStandardPaths::findExecutable(program, {u"/usr/sbin"_s, u"/sbin"_s}).isEmpty() &&
        QStandardPaths::findExecutable(program).isEmpty()) {
        return program + u" is not installed"_s;
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool ended = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit;
    return ended && process.exitCode() == 0
               ? QString()
               : program + u": "_s + QString::fromLocal8Bit(process.readAll());
}

} // namespace

/** One file that is shown by two file systems, or twice by one. */
class MountedTwiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void fileIsRecognised_data();
    void fileIsRecognised();
    void fileRemovedBehindAMountIsNotThere_data();
    void fileRemovedBehindAMountIsNotThere();
    void fileThatChangedBehindAMountIsRecognised();
    void hardLinksBelowAFolderMountedTwiceAreOneFile();

private:
    QString path(const QString& name) const
    {
        return m_directory->filePath(name);
    }
    /** Why the folder "shown" does not show what is in "music", or nothing. */
    QString mountBy(const QString& way);
    QString mountOverlay();
    QString mountExfat();
    static void requireThatPressesLeaveAFile(const QString& first, const QString& second);

    std::unique_ptr<filefixture::SecondFileSystem> m_mounts; ///< Of this process alone.
    std::unique_ptr<QTemporaryDir> m_directory;
    QStringList m_mounted;
    QString m_loopDevice;
};

void MountedTwiceTest::initTestCase()
{
    m_mounts = std::make_unique<filefixture::SecondFileSystem>();
    if (::geteuid() != 0 || !m_mounts->isAvailable()) {
        QSKIP("mounting is not allowed here");
    }
}

void MountedTwiceTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    for (const QString& folder : {u"music"_s, u"shown"_s, u"upper"_s}) {
        QVERIFY(QDir(m_directory->path()).mkpath(folder));
    }
    QVERIFY(write(path(u"music/x.mp3"_s), "x"));
    QVERIFY(write(path(u"music/y.mp3"_s), "other"));
}

void MountedTwiceTest::cleanup()
{
    while (!m_mounted.isEmpty()) {
        QCOMPARE(::umount2(QFile::encodeName(m_mounted.takeLast()).constData(), MNT_DETACH), 0);
    }
    if (!m_loopDevice.isEmpty()) {
        QCOMPARE(failureOf(u"losetup"_s, {u"-d"_s, m_loopDevice}), QString());
        m_loopDevice.clear();
    }
    m_directory.reset();
}

QString MountedTwiceTest::mountBy(const QString& way)
{
    const QString music = path(u"music"_s);
    const QString shown = path(u"shown"_s);
    QString failure;
    if (way == u"bind") {
        failure = failureOf(u"mount"_s, {u"--bind"_s, music, shown});
    } else if (way == u"bindfs" || way == u"mergerfs") {
        failure = failureOf(way, {music, shown});
    } else if (way == u"overlay") {
        return mountOverlay();
    } else {
        return mountExfat();
    }
    if (failure.isEmpty()) {
        m_mounted.append(shown);
    }
    return failure;
}

QString MountedTwiceTest::mountOverlay()
{
    // What overlay writes to must not be on one itself.
    const QString upper = path(u"upper"_s);
    QString failure = failureOf(u"mount"_s, {u"-t"_s, u"tmpfs"_s, u"none"_s, upper});
    if (!failure.isEmpty()) {
        return failure;
    }
    m_mounted.append(upper);
    QDir(upper).mkdir(u"files"_s);
    QDir(upper).mkdir(u"work"_s);
    failure =
        failureOf(u"mount"_s,
                  {u"-t"_s, u"overlay"_s, u"overlay"_s, u"-o"_s,
                   u"lowerdir=%1,upperdir=%2/files,workdir=%2/work"_s.arg(path(u"music"_s), upper),
                   path(u"shown"_s)});
    if (failure.isEmpty()) {
        m_mounted.append(path(u"shown"_s));
    }
    return failure;
}

/** Letter case does not count there: "music" is seen as "Music", too. */
QString MountedTwiceTest::mountExfat()
{
    const QString image = path(u"image"_s);
    QFile file(image);
    if (!file.open(QFile::WriteOnly) || !file.resize(16 << 20)) {
        return u"no room for an image"_s;
    }
    QString failure = failureOf(u"mkfs.exfat"_s, {image});
    QProcess losetup;
    losetup.start(u"losetup"_s, {u"--find"_s, u"--show"_s, image});
    if (!failure.isEmpty() || !losetup.waitForFinished(-1) || losetup.exitCode() != 0) {
        return failure + u"no loop device"_s;
    }
    m_loopDevice = QString::fromLocal8Bit(losetup.readAll()).trimmed();
    failure = failureOf(u"mount.exfat-fuse"_s, {m_loopDevice, path(u"shown"_s)});
    if (failure.isEmpty()) {
        m_mounted.append(path(u"shown"_s));
    }
    return failure;
}

void MountedTwiceTest::fileIsRecognised_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QString>("second");
    for (const char* way : {"bind", "bindfs", "mergerfs", "overlay"}) {
        QTest::newRow(way) << u"music/"_s << u"shown/"_s;
    }
    QTest::newRow("exfat") << u"shown/music/"_s << u"shown/Music/"_s;
}

void MountedTwiceTest::fileIsRecognised()
{
    QFETCH(const QString, first);
    QFETCH(const QString, second);
    const QString failure = mountBy(QString::fromLatin1(QTest::currentDataTag()));
    if (!failure.isEmpty()) {
        QSKIP(qPrintable(failure));
    }
    if (!QFile::exists(path(first))) {
        QVERIFY(QDir().mkdir(path(first)));
        QVERIFY(write(path(first + u"x.mp3"_s), "x"));
        QVERIFY(write(path(first + u"y.mp3"_s), "other"));
    }
    fileops::KeptFiles kept({path(first + u"x.mp3"_s)});
    QCOMPARE(kept.nameOf(path(second + u"x.mp3"_s)), path(first + u"x.mp3"_s));
    QCOMPARE(kept.nameOf(path(second + u"y.mp3"_s)), QString());
    fileops::KeptFiles other({path(second + u"x.mp3"_s)});
    QCOMPARE(other.nameOf(path(first + u"x.mp3"_s)), path(second + u"x.mp3"_s));
    // Through a link as well.
    QVERIFY(QFile::link(path(second), path(u"link"_s)));
    QCOMPARE(kept.nameOf(path(u"link/x.mp3"_s)), path(first + u"x.mp3"_s));
    QCOMPARE(other.nameOf(path(u"link/x.mp3"_s)), path(second + u"x.mp3"_s));
    requireThatPressesLeaveAFile(path(first), path(second));
}

/** Both files of a folder, alike, under both names, in the map that a search within a group makes.
 */
void MountedTwiceTest::requireThatPressesLeaveAFile(const QString& first, const QString& second)
{
    const DuplicateMap duplicates = {
        {first + u"x.mp3"_s, {{second + u"x.mp3"_s, 100}, {second + u"y.mp3"_s, 100}}},
        {second + u"x.mp3"_s, {{first + u"y.mp3"_s, 100}}}};
    for (int press = 0; press < 3; ++press) {
        for (const DuplicateRow& row : results::duplicateRows(duplicates)) {
            if (row.sameFileAs.isEmpty() && row.isReferenceThere) {
                QFile::remove(row.path);
            }
        }
    }
    QVERIFY(QFile::exists(first + u"x.mp3"_s));
    QVERIFY(QFile::exists(second + u"x.mp3"_s));
    QVERIFY(!QFile::exists(second + u"y.mp3"_s));
}

void MountedTwiceTest::fileRemovedBehindAMountIsNotThere_data()
{
    QTest::addColumn<QString>("way");
    for (const char* way : {"bindfs", "mergerfs"}) {
        QTest::newRow(way) << QString::fromLatin1(way);
    }
}

void MountedTwiceTest::fileRemovedBehindAMountIsNotThere()
{
    QFETCH(const QString, way);
    const QString failure = mountBy(way);
    if (!failure.isEmpty()) {
        QSKIP(qPrintable(failure));
    }
    const QString shown = path(u"shown/x.mp3"_s);
    QVERIFY(fileops::KeptFiles({shown}).isThere(shown)); // the system remembers that
    QVERIFY(QFile::remove(path(u"music/x.mp3"_s)));
    QVERIFY(!fileops::KeptFiles({shown}).isThere(shown));
}

void MountedTwiceTest::fileThatChangedBehindAMountIsRecognised()
{
    const QString failure = mountBy(u"bindfs"_s);
    if (!failure.isEmpty()) {
        QSKIP(qPrintable(failure));
    }
    const QString music = path(u"music/x.mp3"_s);
    const QString shown = path(u"shown/x.mp3"_s);
    QVERIFY(fileops::isSameFile(music, shown)); // the system remembers the times
    QCOMPARE(::chmod(qPrintable(music), 0640), 0);
    QVERIFY(fileops::isSameFile(music, shown));
}

void MountedTwiceTest::hardLinksBelowAFolderMountedTwiceAreOneFile()
{
    QCOMPARE(::link(qPrintable(path(u"music/x.mp3"_s)), qPrintable(path(u"music/z.mp3"_s))), 0);
    QCOMPARE(mountBy(u"bind"_s), QString());
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_s), path(u"shown/x.mp3"_s)));
    QVERIFY(fileops::isSameFile(path(u"music/x.mp3"_s), path(u"shown/z.mp3"_s)));
    const QList<DuplicateRow> rows = results::duplicateRows(
        {{path(u"music/x.mp3"_s), {{path(u"shown/x.mp3"_s), 100}, {path(u"shown/z.mp3"_s), 100}}}});
    QCOMPARE(rows.size(), 2);
    for (const DuplicateRow& row : rows) {
        QCOMPARE(row.sameFileAs, path(u"music/x.mp3"_s));
    }
}

QTEST_GUILESS_MAIN(MountedTwiceTest)
#include "tst_mountedtwice.moc"
