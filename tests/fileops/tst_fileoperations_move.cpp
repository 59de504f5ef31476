#include "fileops/fileoperations.h"

#include "filefixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <climits>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::noise;
using filefixture::read;
using filefixture::write;

namespace {

constexpr int kSizeOfOneMiB = 1024 * 1024;

struct stat statusOf(const QString& path)
{
    struct stat status = {};
    if (::lstat(QFile::encodeName(path).constData(), &status) != 0) {
        qWarning("no %s", qPrintable(path));
    }
    return status;
}

void chmodPath(const QString& path, mode_t mode)
{
    QCOMPARE(::chmod(QFile::encodeName(path).constData(), mode), 0);
}

} // namespace

/**
 * Moving one file, on one file system and between two. Every data-driven case runs on both: the
 * folder `here` holds the source, `there` is the target.
 */
class MoveFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void contentArrivesWhole_data();
    void contentArrivesWhole();
    void modeAndModificationTimeGoAlong_data()
    {
        bothTargets();
    }
    void modeAndModificationTimeGoAlong();
    void ownerGoesAlongAcrossFileSystems();
    void namesOfEveryKindAreMoved_data();
    void namesOfEveryKindAreMoved();
    void neverOverwrites_data();
    void neverOverwrites();
    void hardLinkOfTheDestinationIsNotMoved_data()
    {
        bothTargets();
    }
    void hardLinkOfTheDestinationIsNotMoved();
    void failureLeavesBothFoldersAsTheyWere_data();
    void failureLeavesBothFoldersAsTheyWere();

    void symbolicLinkIsMovedItself_data()
    {
        bothTargets();
    }
    void symbolicLinkIsMovedItself();
    void longestSymbolicLinkIsMovedWhole_data()
    {
        bothTargets();
    }
    void longestSymbolicLinkIsMovedWhole();
    void deadLinkCountsAsMissing_data()
    {
        bothTargets();
    }
    void deadLinkCountsAsMissing();
    void folderIsMovedWithinOneFileSystemOnly();
    void namedPipeIsNotWaitedFor();

    void fullTargetLeavesTheSourceAlone_data();
    void fullTargetLeavesTheSourceAlone();
    void targetWithoutWriteRightsLeavesTheSourceAlone_data()
    {
        bothTargets();
    }
    void targetWithoutWriteRightsLeavesTheSourceAlone();
    void sourceThatCannotBeRemovedIsNotDoubled_data()
    {
        bothTargets();
    }
    void sourceThatCannotBeRemovedIsNotDoubled();
    void unreadableSourceLeavesNothingBehind();

private:
    static void bothTargets();
    QString here(const QString& name) const
    {
        return m_here->filePath(name);
    }
    QString there(const QString& name) const
    {
        return m_there + u'/' + name;
    }
    void chooseTarget();

    std::unique_ptr<filefixture::SecondFileSystem> m_other;
    std::unique_ptr<filefixture::OpenFolder> m_here;
    std::unique_ptr<filefixture::OpenFolder> m_same;
    QString m_there;
};

void MoveFileTest::init()
{
    m_here = std::make_unique<filefixture::OpenFolder>();
    m_same = std::make_unique<filefixture::OpenFolder>();
    m_other = std::make_unique<filefixture::SecondFileSystem>();
    m_there.clear();
    if (m_other->isAvailable()) {
        QVERIFY(statusOf(m_here->path()).st_dev != statusOf(m_other->path()).st_dev);
    }
}

void MoveFileTest::cleanup()
{
    m_here.reset();
    m_same.reset();
    m_other.reset();
}

void MoveFileTest::bothTargets()
{
    QTest::addColumn<bool>("otherFileSystem");
    QTest::newRow("one file system") << false;
    QTest::newRow("two file systems") << true;
}

void MoveFileTest::chooseTarget()
{
    QFETCH(const bool, otherFileSystem);
    if (otherFileSystem && !m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    m_there = otherFileSystem ? m_other->path() : m_same->path();
}

/** Stops the test function, too, where chooseTarget() skipped. */
#define CHOOSE_TARGET()                                                                            \
    chooseTarget();                                                                                \
    if (QTest::currentTestFailed() || m_there.isEmpty()) {                                         \
        return;                                                                                    \
    }

void MoveFileTest::contentArrivesWhole_data()
{
    QTest::addColumn<bool>("otherFileSystem");
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 4096, 128 * 1024 - 1, 128 * 1024, 128 * 1024 + 1, 5'000'011}) {
        QTest::addRow("%d bytes on one file system", size) << false << size;
        QTest::addRow("%d bytes on two file systems", size) << true << size;
    }
}

void MoveFileTest::contentArrivesWhole()
{
    CHOOSE_TARGET();
    QFETCH(const int, size);
    const QByteArray content = noise(size);
    QVERIFY(write(here(u"a.mp3"_s), content));
    QVERIFY(fileops::moveFile({here(u"a.mp3"_s), there(u"b.mp3"_s)}));
    QCOMPARE(read(there(u"b.mp3"_s)), content);
    QCOMPARE(entries(m_here->path()), QStringList());
    QCOMPARE(entries(m_there), QStringList(u"b.mp3"_s));
}

void MoveFileTest::modeAndModificationTimeGoAlong()
{
    CHOOSE_TARGET();
    for (const mode_t mode : {0640U, 0444U, 0755U, 0600U, 0666U}) {
        QVERIFY(write(here(u"a.mp3"_s), "x"));
        const timespec times[2] = {{1'000'000'000, 5}, {1'234'567'890, 123'456'789}};
        QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(here(u"a.mp3"_s)).constData(), times, 0),
                 0);
        chmodPath(here(u"a.mp3"_s), mode);
        QVERIFY(fileops::moveFile({here(u"a.mp3"_s), there(u"b.mp3"_s)}));

        const struct stat moved = statusOf(there(u"b.mp3"_s));
        QCOMPARE(moved.st_mode & 07777U, mode);
        QCOMPARE(moved.st_mtim.tv_sec, times[1].tv_sec);
        QCOMPARE(moved.st_mtim.tv_nsec, times[1].tv_nsec);
        QVERIFY(QFile::remove(there(u"b.mp3"_s)));
    }
}

void MoveFileTest::ownerGoesAlongAcrossFileSystems()
{
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    if (::geteuid() != 0) {
        QSKIP("only the administrator may change owners");
    }
    QVERIFY(write(here(u"a.mp3"_s), "x"));
    QCOMPARE(::chown(QFile::encodeName(here(u"a.mp3"_s)).constData(), 1234, 4321), 0);
    chmodPath(here(u"a.mp3"_s), 0640);
    QVERIFY(fileops::moveFile({here(u"a.mp3"_s), m_other->filePath(u"b.mp3"_s)}));
    const struct stat moved = statusOf(m_other->filePath(u"b.mp3"_s));
    QCOMPARE(moved.st_uid, 1234U);
    QCOMPARE(moved.st_gid, 4321U);
    QCOMPARE(moved.st_mode & 07777U, 0640U);
}

void MoveFileTest::namesOfEveryKindAreMoved_data()
{
    QTest::addColumn<bool>("otherFileSystem");
    QTest::addColumn<QString>("name");
    for (const bool other : {false, true}) {
        const char* where = other ? "two file systems" : "one file system";
        QTest::addRow("255 bytes, %s", where) << other << QString(255, u'n');
        QTest::addRow("255 bytes of letters of 3, %s", where) << other << QString(85, u'\u97f3');
        QTest::addRow("emoji, %s", where) << other << u"\U0001F3B5\U0001F468\u200D\U0001F3A4.mp3"_s;
        QTest::addRow("newline and quotes, %s", where) << other << u"a\nb\t\"'\\.mp3"_s;
        QTest::addRow("leading dash and space, %s", where) << other << u"-rf .mp3"_s;
        QTest::addRow("one letter, %s", where) << other << u"a"_s;
    }
}

void MoveFileTest::namesOfEveryKindAreMoved()
{
    CHOOSE_TARGET();
    QFETCH(const QString, name);
    QVERIFY(write(here(name), "x"));
    QVERIFY(fileops::moveFile({here(name), there(name)}));
    QCOMPARE(entries(m_there), QStringList(name));
    QCOMPARE(read(there(name)), "x");
    QCOMPARE(entries(m_here->path()), QStringList());
}

void MoveFileTest::neverOverwrites_data()
{
    QTest::addColumn<bool>("otherFileSystem");
    QTest::addColumn<QString>("obstacle");
    for (const bool other : {false, true}) {
        const char* where = other ? "two file systems" : "one file system";
        for (const char* obstacle : {"file", "empty file", "folder", "dead link"}) {
            QTest::addRow("%s, %s", obstacle, where) << other << QString::fromLatin1(obstacle);
        }
    }
}

void MoveFileTest::neverOverwrites()
{
    CHOOSE_TARGET();
    QFETCH(const QString, obstacle);
    const QString destination = there(u"b.mp3"_s);
    QVERIFY(write(here(u"a.mp3"_s), "new"));
    if (obstacle == u"folder"_s) {
        QVERIFY(QDir().mkpath(destination));
    } else if (obstacle == u"dead link"_s) {
        QVERIFY(QFile::link(there(u"absent"_s), destination));
    } else {
        QVERIFY(write(destination, obstacle == u"file"_s ? "old" : ""));
    }
    const ino_t before = statusOf(destination).st_ino;

    QVERIFY(!fileops::moveFile({here(u"a.mp3"_s), destination}));
    QCOMPARE(read(here(u"a.mp3"_s)), "new");
    QCOMPARE(statusOf(destination).st_ino, before);
    QCOMPARE(entries(m_there), QStringList(u"b.mp3"_s));
    if (obstacle == u"file"_s) {
        QCOMPARE(read(destination), "old");
    }
}

void MoveFileTest::hardLinkOfTheDestinationIsNotMoved()
{
    CHOOSE_TARGET();
    // A plain rename of one name of a file to another does nothing and reports success.
    QVERIFY(write(there(u"a.mp3"_s), "x"));
    QCOMPARE(::link(QFile::encodeName(there(u"a.mp3"_s)).constData(),
                    QFile::encodeName(there(u"b.mp3"_s)).constData()),
             0);
    QVERIFY(!fileops::moveFile({there(u"a.mp3"_s), there(u"b.mp3"_s)}));
    QVERIFY(!fileops::moveFile({there(u"a.mp3"_s), there(u"a.mp3"_s)}));
    QCOMPARE(entries(m_there), QStringList({u"a.mp3"_s, u"b.mp3"_s}));
}

void MoveFileTest::failureLeavesBothFoldersAsTheyWere_data()
{
    QTest::addColumn<bool>("otherFileSystem");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("destination");
    for (const bool other : {false, true}) {
        const char* where = other ? "two file systems" : "one file system";
        QTest::addRow("missing source, %s", where) << other << u"absent"_s << u"b"_s;
        QTest::addRow("missing folder, %s", where) << other << u"a.mp3"_s << u"absent/b"_s;
        QTest::addRow("folder is a file, %s", where) << other << u"a.mp3"_s << u"c.mp3/b"_s;
        QTest::addRow("name too long, %s", where) << other << u"a.mp3"_s << QString(256, u'n');
        QTest::addRow("only a folder given, %s", where) << other << u"a.mp3"_s << u""_s;
        QTest::addRow("name is a dot, %s", where) << other << u"a.mp3"_s << u"."_s;
        QTest::addRow("null character, %s", where)
            << other << u"a.mp3"_s << QString::fromUtf16(u"b\0c", 3);
        QTest::addRow("null character in source, %s", where)
            << other << QString::fromUtf16(u"a.mp3\0c", 7) << u"b"_s;
    }
}

void MoveFileTest::failureLeavesBothFoldersAsTheyWere()
{
    CHOOSE_TARGET();
    QFETCH(const QString, source);
    QFETCH(const QString, destination);
    QVERIFY(write(here(u"a.mp3"_s), "a"));
    QVERIFY(write(there(u"c.mp3"_s), "c"));
    QVERIFY(!fileops::moveFile({here(source), there(destination)}));
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
    QCOMPARE(entries(m_there), QStringList(u"c.mp3"_s));
    QCOMPARE(read(here(u"a.mp3"_s)), "a");
    QCOMPARE(read(there(u"c.mp3"_s)), "c");
    QVERIFY(!fileops::moveFile({here(u"a.mp3"_s), QString()}));
    QVERIFY(!fileops::moveFile({QString(), there(u"b"_s)}));
}

void MoveFileTest::symbolicLinkIsMovedItself()
{
    CHOOSE_TARGET();
    QVERIFY(write(here(u"a.mp3"_s), "x"));
    QCOMPARE(::symlink("a.mp3", QFile::encodeName(here(u"relative.mp3"_s)).constData()), 0);
    QVERIFY(QFile::link(here(u"a.mp3"_s), here(u"absolute.mp3"_s)));

    QVERIFY(fileops::moveFile({here(u"absolute.mp3"_s), there(u"absolute.mp3"_s)}));
    QVERIFY(fileops::moveFile({here(u"relative.mp3"_s), there(u"relative.mp3"_s)}));
    QCOMPARE(QFileInfo(there(u"absolute.mp3"_s)).symLinkTarget(), here(u"a.mp3"_s));
    QCOMPARE(read(there(u"absolute.mp3"_s)), "x");
    QByteArray text(100, '\0');
    const ssize_t length = ::readlink(QFile::encodeName(there(u"relative.mp3"_s)).constData(),
                                      text.data(), static_cast<size_t>(text.size()));
    QCOMPARE(text.left(length), "a.mp3");
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
}

void MoveFileTest::longestSymbolicLinkIsMovedWhole()
{
    CHOOSE_TARGET();
    QVERIFY(write(here(u"a.mp3"_s), "x"));
    const QByteArray name = "a.mp3";
    const QByteArray text = QByteArray("./").repeated((PATH_MAX - 1 - name.size()) / 2) + name;
    QCOMPARE(text.size(), PATH_MAX - 1);
    if (::symlink(text.constData(), QFile::encodeName(here(u"long.mp3"_s)).constData()) != 0) {
        QSKIP("no symbolic links of this length here");
    }
    QVERIFY(fileops::moveFile({here(u"long.mp3"_s), there(u"b.mp3"_s)}));
    QByteArray moved(PATH_MAX, '\0');
    moved.truncate(::readlink(QFile::encodeName(there(u"b.mp3"_s)).constData(), moved.data(),
                              static_cast<size_t>(moved.size())));
    QCOMPARE(moved, text);
}

void MoveFileTest::deadLinkCountsAsMissing()
{
    CHOOSE_TARGET();
    QVERIFY(QFile::link(here(u"absent"_s), here(u"dead.mp3"_s)));
    QVERIFY(!fileops::moveFile({here(u"dead.mp3"_s), there(u"b.mp3"_s)}));
    QCOMPARE(entries(m_here->path()), QStringList(u"dead.mp3"_s));
    QCOMPARE(entries(m_there), QStringList());
}

void MoveFileTest::folderIsMovedWithinOneFileSystemOnly()
{
    QVERIFY(QDir().mkpath(here(u"folder"_s)));
    QVERIFY(write(here(u"folder/a.mp3"_s), "x"));
    if (m_other->isAvailable()) {
        QVERIFY(!fileops::moveFile({here(u"folder"_s), m_other->filePath(u"b"_s)}));
        QCOMPARE(entries(m_other->path()), QStringList());
        QCOMPARE(read(here(u"folder/a.mp3"_s)), "x");
    }
    QVERIFY(!fileops::moveFile({here(u"folder"_s), here(u"folder/b"_s)}));
    QVERIFY(fileops::moveFile({here(u"folder"_s), here(u"b"_s)}));
    QCOMPARE(read(here(u"b/a.mp3"_s)), "x");
}

void MoveFileTest::namedPipeIsNotWaitedFor()
{
    QCOMPARE(::mkfifo(QFile::encodeName(here(u"pipe.mp3"_s)).constData(), 0600), 0);
    if (m_other->isAvailable()) {
        QVERIFY(!fileops::moveFile({here(u"pipe.mp3"_s), m_other->filePath(u"b.mp3"_s)}));
        QCOMPARE(entries(m_other->path()), QStringList());
        QCOMPARE(entries(m_here->path()), QStringList(u"pipe.mp3"_s));
    }
    QVERIFY(fileops::moveFile({here(u"pipe.mp3"_s), here(u"b.mp3"_s)}));
}

void MoveFileTest::fullTargetLeavesTheSourceAlone_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("far too large") << 4 * kSizeOfOneMiB;
    QTest::newRow("one byte too large") << kSizeOfOneMiB + 1;
    // The folder itself needs space, so that the last block no longer fits.
    QTest::newRow("hardly too large") << kSizeOfOneMiB + 11'520;
}

void MoveFileTest::fullTargetLeavesTheSourceAlone()
{
    QFETCH(const int, size);
    const filefixture::SecondFileSystem full("1m");
    if (!full.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    const QByteArray content = noise(size);
    QVERIFY(write(here(u"a.mp3"_s), content));
    QVERIFY(!fileops::moveFile({here(u"a.mp3"_s), full.filePath(u"b.mp3"_s)}));
    QCOMPARE(read(here(u"a.mp3"_s)), content);
    QCOMPARE(entries(full.path()), QStringList());

    // The room taken by the attempt is free again.
    QVERIFY(write(here(u"small.mp3"_s), noise(kSizeOfOneMiB)));
    QVERIFY(fileops::moveFile({here(u"small.mp3"_s), full.filePath(u"b.mp3"_s)}));
    QCOMPARE(read(full.filePath(u"b.mp3"_s)), noise(kSizeOfOneMiB));
}

void MoveFileTest::targetWithoutWriteRightsLeavesTheSourceAlone()
{
    CHOOSE_TARGET();
    QVERIFY(QDir().mkpath(there(u"locked"_s)));
    chmodPath(there(u"locked"_s), 0555);
    const filefixture::OrdinaryUser user;
    QVERIFY(write(here(u"a.mp3"_s), "x"));
    QVERIFY(!fileops::moveFile({here(u"a.mp3"_s), there(u"locked/b.mp3"_s)}));
    QCOMPARE(read(here(u"a.mp3"_s)), "x");
    QCOMPARE(entries(there(u"locked"_s)), QStringList());
}

void MoveFileTest::sourceThatCannotBeRemovedIsNotDoubled()
{
    CHOOSE_TARGET();
    QVERIFY(QDir().mkpath(here(u"locked"_s)));
    QVERIFY(write(here(u"locked/a.mp3"_s), "x"));
    chmodPath(here(u"locked"_s), 0555);
    chmodPath(here(u"locked/a.mp3"_s), 0444);
    {
        const filefixture::OrdinaryUser user;
        QVERIFY(!fileops::moveFile({here(u"locked/a.mp3"_s), there(u"b.mp3"_s)}));
        QCOMPARE(read(here(u"locked/a.mp3"_s)), "x");
        QCOMPARE(entries(m_there), QStringList());
    }
    chmodPath(here(u"locked"_s), 0755);
}

void MoveFileTest::unreadableSourceLeavesNothingBehind()
{
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    QVERIFY(write(here(u"a.mp3"_s), "x"));
    chmodPath(here(u"a.mp3"_s), 0200);
    {
        const filefixture::OrdinaryUser user;
        QVERIFY(!fileops::moveFile({here(u"a.mp3"_s), m_other->filePath(u"b.mp3"_s)}));
    }
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
    QCOMPARE(entries(m_other->path()), QStringList());
}

QTEST_GUILESS_MAIN(MoveFileTest)
#include "tst_fileoperations_move.moc"
