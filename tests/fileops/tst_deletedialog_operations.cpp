#include "dialogfixture.h"
#include "filefixture.h"
#include "slowdisk.h"
#include "support/timers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

namespace {

constexpr int kGuardMs = 60'000;

} // namespace

/** Deleting, moving and copying real files through the dialog's buttons. */
class DeleteDialogOperationsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup()
    {
        m_folder.reset();
    }

    void copiesAreNumberedByTickedRow();
    void nameWithoutADotEndsInTheFullStop();
    void namesOfEveryKindAreMovedAndCopied();
    void directoryWithASeparatorAtItsEndGetsNoSecond();
    void copyingTwiceCopiesNothingTheSecondTime();
    void copyLeavesTheListAsItIs();
    void deletingEverythingEmptiesTheList();
    void deletingSomeKeepsTheRest();
    void failedDeletesStayAndVanishedRowsGo();
    void failedMovesAreExactlyTheRowsThatRemain();
    void moveBetweenFileSystemsKeepsContents();
    void moveToAFullFileSystemLosesNothing();
    void operationsWithoutRightsFailAndKeepTheRows_data();
    void operationsWithoutRightsFailAndKeepTheRows();
    void missingDirectoryFailsSilently();

    void emptyDirectoryFieldStartsNothing_data();
    void emptyDirectoryFieldStartsNothing();
    void noTickedRowStartsNothing_data();
    void noTickedRowStartsNothing();
    void allRowAloneIsNotAnOperand();

    void progressFollowsTheFilesAndHidesASecondAfterTheResult();
    void resultStaysUntilTheNextTick();
    void interfaceStaysFreeDuringAnOperation();
    void secondPressRunsAfterTheFirst();
    void secondPressOfDeleteLosesNothingMore();
    void whatWouldBeLostStays_data();
    void whatWouldBeLostStays();
    void emptyDirectoryFieldUnticksNothing();
    void duplicatesOfAReferenceThatHasGoneStay_data();
    void duplicatesOfAReferenceThatHasGoneStay();
    void manyVanishedRowsAreRemoved();

private:
    QString path(const QString& name) const
    {
        return m_folder->filePath(name);
    }
    QString target() const
    {
        return path(u"target"_s);
    }
    QStringList makeFiles(int count, const QByteArray& content = "x") const;
    static void waitForLabel(const DialogFixture& fixture, const QString& text);

    std::unique_ptr<filefixture::OpenFolder> m_folder;
};

void DeleteDialogOperationsTest::init()
{
    m_folder = std::make_unique<filefixture::OpenFolder>();
    QVERIFY(QDir().mkpath(target()));
    QVERIFY(QDir().mkpath(path(u"x"_s)));
    QVERIFY(QDir().mkpath(path(u"y"_s)));
    QVERIFY(QDir().mkpath(path(u"z"_s)));
}

QStringList DeleteDialogOperationsTest::makeFiles(int count, const QByteArray& content) const
{
    QStringList paths;
    for (int i = 1; i <= count; ++i) {
        paths.append(path(QStringLiteral("x/%1.mp3").arg(i, 5, 10, QChar(u'0'))));
        if (!write(paths.constLast(), content)) {
            qFatal("cannot write %s", qPrintable(paths.constLast()));
        }
    }
    return paths;
}

void DeleteDialogOperationsTest::waitForLabel(const DialogFixture& fixture, const QString& text)
{
    QTRY_COMPARE_WITH_TIMEOUT(fixture.countLabel(), text, kGuardMs);
}

void DeleteDialogOperationsTest::copiesAreNumberedByTickedRow()
{
    const QStringList songs = {path(u"x/song.mp3"_s), path(u"y/song.mp3"_s), path(u"z/song.mp3"_s)};
    QVERIFY(write(songs.at(0), "in x"));
    QVERIFY(write(songs.at(1), "in y"));
    QVERIFY(write(songs.at(2), "in z"));
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(songs);
    fixture.setTicked(2, false);
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"2 files copied"_s);
    QCOMPARE(entries(target()), QStringList({u"song-copied-1.mp3"_s, u"song-copied-2.mp3"_s}));
    QCOMPARE(read(target() + u"/song-copied-1.mp3"_s), "in x");
    QCOMPARE(read(target() + u"/song-copied-2.mp3"_s), "in z");
}

void DeleteDialogOperationsTest::nameWithoutADotEndsInTheFullStop()
{
    QVERIFY(write(path(u"x/song"_s), "1"));
    QVERIFY(write(path(u"x/a.live.mp3"_s), "2"));
    DialogFixture fixture(u"move"_s);
    fixture.addFiles({path(u"x/song"_s), path(u"x/a.live.mp3"_s)});
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"2 files moved"_s);
    QCOMPARE(entries(target()), QStringList({u"a-moved-2.mp3"_s, u"song-moved-1."_s}));
}

void DeleteDialogOperationsTest::namesOfEveryKindAreMovedAndCopied()
{
    const QStringList names = {u"\U0001F3B5.mp3"_s, u"a\nb.mp3"_s,
                               QString(255 - 4, u'n') + u".mp3"_s};
    QStringList paths;
    for (const QString& name : names) {
        paths.append(path(u"x/"_s + name));
        QVERIFY(write(paths.constLast(), "x"));
    }
    DialogFixture copying(u"copy"_s);
    copying.addFiles(paths);
    copying.directory()->setText(target());
    copying.start();
    // The third has no room for the marker and fails; the name rule makes no exception.
    waitForLabel(copying, u"2 files copied"_s);

    DialogFixture moving(u"move"_s);
    moving.addFiles(paths);
    moving.directory()->setText(target());
    moving.start();
    waitForLabel(moving, u"2 files moved"_s);
    QCOMPARE(moving.rows(), QStringList(u"[x] "_s + paths.at(2)));
    QCOMPARE(entries(target()),
             QStringList({u"a\nb-copied-2.mp3"_s, u"a\nb-moved-2.mp3"_s,
                          u"\U0001F3B5-copied-1.mp3"_s, u"\U0001F3B5-moved-1.mp3"_s}));
}

void DeleteDialogOperationsTest::directoryWithASeparatorAtItsEndGetsNoSecond()
{
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(1));
    fixture.directory()->setText(target() + QDir::separator());
    fixture.start();
    waitForLabel(fixture, u"1 files copied"_s);
    QCOMPARE(entries(target()), QStringList(u"00001-copied-1.mp3"_s));
}

void DeleteDialogOperationsTest::copyingTwiceCopiesNothingTheSecondTime()
{
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(3, "first"));
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"3 files copied"_s);
    fixture.start();
    waitForLabel(fixture, u"0 files copied"_s);
    QCOMPARE(entries(target()).size(), 3);
    QCOMPARE(read(target() + u"/00001-copied-1.mp3"_s), "first");
}

void DeleteDialogOperationsTest::copyLeavesTheListAsItIs()
{
    const QStringList paths = makeFiles(3);
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(paths);
    fixture.setTicked(1, false);
    QVERIFY(QFile::remove(paths.at(2)));
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"1 files copied"_s);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] "_s + paths.at(0), u"[x] "_s + paths.at(1),
                                          u"[x] "_s + paths.at(2)}));
    QVERIFY(QFile::exists(paths.at(1)));
}

void DeleteDialogOperationsTest::deletingEverythingEmptiesTheList()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(makeFiles(3));
    fixture.start();
    waitForLabel(fixture, u"3 files deleted"_s);
    QCOMPARE(fixture.list()->count(), 0);
    QCOMPARE(entries(path(u"x"_s)), QStringList());
}

void DeleteDialogOperationsTest::deletingSomeKeepsTheRest()
{
    const QStringList paths = makeFiles(3);
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(paths);
    fixture.setTicked(2, false);
    fixture.start();
    waitForLabel(fixture, u"2 files deleted"_s);
    QCOMPARE(fixture.rows(), QStringList(u"[ ] "_s + paths.at(1)));
    QCOMPARE(fixture.list()->item(0)->text(), u"All"_s);
    QCOMPARE(entries(path(u"x"_s)), QStringList(u"00002.mp3"_s));
}

void DeleteDialogOperationsTest::failedDeletesStayAndVanishedRowsGo()
{
    const QStringList paths = makeFiles(3);
    QVERIFY(QDir().mkpath(path(u"folder.mp3"_s))); // exists and cannot be removed as a file
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(QStringList(paths) << path(u"folder.mp3"_s));
    fixture.setTicked(1, false);
    QVERIFY(QFile::remove(paths.at(0))); // not ticked, vanished for another reason
    QVERIFY(QFile::remove(paths.at(1))); // ticked, but gone before its turn
    fixture.start();
    waitForLabel(fixture, u"1 files deleted"_s);
    QCOMPARE(fixture.rows(), QStringList(u"[x] "_s + path(u"folder.mp3"_s)));
}

void DeleteDialogOperationsTest::failedMovesAreExactlyTheRowsThatRemain()
{
    const QStringList paths = makeFiles(4, "new");
    QVERIFY(write(target() + u"/00002-moved-2.mp3"_s, "old"));
    QVERIFY(write(target() + u"/00004-moved-4.mp3"_s, "old"));
    DialogFixture fixture(u"move"_s);
    fixture.addFiles(paths);
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"2 files moved"_s);
    QCOMPARE(fixture.rows(), QStringList({u"[x] "_s + paths.at(1), u"[x] "_s + paths.at(3)}));
    QCOMPARE(read(target() + u"/00002-moved-2.mp3"_s), "old");
    QCOMPARE(read(target() + u"/00004-moved-4.mp3"_s), "old");
    QCOMPARE(read(target() + u"/00001-moved-1.mp3"_s), "new");
    QCOMPARE(read(paths.at(1)), "new");
}

void DeleteDialogOperationsTest::moveBetweenFileSystemsKeepsContents()
{
    const filefixture::SecondFileSystem other;
    if (!other.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    const QByteArray content = filefixture::noise(300'007);
    DialogFixture fixture(u"move"_s);
    fixture.addFiles(makeFiles(20, content));
    fixture.directory()->setText(other.path());
    fixture.start();
    waitForLabel(fixture, u"20 files moved"_s);
    QCOMPARE(fixture.list()->count(), 0);
    QCOMPARE(entries(path(u"x"_s)), QStringList());
    QCOMPARE(entries(other.path()).size(), 20);
    for (const QString& name : entries(other.path())) {
        QCOMPARE(read(other.filePath(name)), content);
    }
}

void DeleteDialogOperationsTest::moveToAFullFileSystemLosesNothing()
{
    const filefixture::SecondFileSystem full("1m");
    if (!full.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    const QByteArray content = filefixture::noise(300'000);
    DialogFixture fixture(u"move"_s);
    fixture.addFiles(makeFiles(6, content));
    fixture.directory()->setText(full.path());
    fixture.start();
    waitForLabel(fixture, u"3 files moved"_s);
    QCOMPARE(fixture.rows().size(), 3);
    const QStringList kept = entries(path(u"x"_s));
    QCOMPARE(kept, QStringList({u"00004.mp3"_s, u"00005.mp3"_s, u"00006.mp3"_s}));
    for (const QString& name : kept) {
        QCOMPARE(read(path(u"x/"_s + name)), content);
    }
    QCOMPARE(entries(full.path()).size(), 3);
    for (const QString& name : entries(full.path())) {
        QCOMPARE(read(full.filePath(name)), content);
    }
}

void DeleteDialogOperationsTest::operationsWithoutRightsFailAndKeepTheRows_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("locked");
    QTest::addColumn<QString>("result");
    QTest::newRow("delete") << u"delete"_s << u"x"_s << u"0 files deleted"_s;
    QTest::newRow("move from") << u"move"_s << u"x"_s << u"0 files moved"_s;
    QTest::newRow("move to") << u"move"_s << u"target"_s << u"0 files moved"_s;
    QTest::newRow("copy to") << u"copy"_s << u"target"_s << u"0 files copied"_s;
}

void DeleteDialogOperationsTest::operationsWithoutRightsFailAndKeepTheRows()
{
    QFETCH(const QString, operation);
    QFETCH(const QString, locked);
    QFETCH(const QString, result);
    const QStringList paths = makeFiles(2);
    for (const QString& name : {u"x"_s, u"target"_s}) {
        const QFile::Permissions all(0x7777);
        const QFile::Permissions noWriting(0x5555);
        QVERIFY(QFile::setPermissions(path(name), name == locked ? noWriting : all));
    }
    DialogFixture fixture(operation);
    fixture.addFiles(paths);
    fixture.directory()->setText(target());
    {
        const filefixture::OrdinaryUser user;
        fixture.start();
        waitForLabel(fixture, result);
    }
    QCOMPARE(fixture.rows(), QStringList({u"[x] "_s + paths.at(0), u"[x] "_s + paths.at(1)}));
    QCOMPARE(entries(path(u"x"_s)).size(), 2);
    QCOMPARE(entries(target()), QStringList());
    QVERIFY(QFile::setPermissions(path(locked), QFile::Permissions(0x7777)));
}

void DeleteDialogOperationsTest::missingDirectoryFailsSilently()
{
    const QStringList paths = makeFiles(2);
    DialogFixture fixture(u"move"_s);
    fixture.addFiles(paths);
    fixture.directory()->setText(path(u"absent"_s));
    fixture.start();
    waitForLabel(fixture, u"0 files moved"_s);
    QCOMPARE(fixture.rows().size(), 2);
    QVERIFY(!QFile::exists(path(u"absent"_s)));
}

void DeleteDialogOperationsTest::emptyDirectoryFieldStartsNothing_data()
{
    QTest::addColumn<QString>("operation");
    QTest::newRow("move") << u"move"_s;
    QTest::newRow("copy") << u"copy"_s;
}

void DeleteDialogOperationsTest::emptyDirectoryFieldStartsNothing()
{
    QFETCH(const QString, operation);
    DialogFixture fixture(operation);
    fixture.addFiles(makeFiles(2));
    const QString label = fixture.countLabel();
    fixture.start();
    fixture.waitForIdle();
    QVERIFY(fixture.progress()->isHidden());
    QCOMPARE(fixture.countLabel(), label);
    QCOMPARE(entries(path(u"x"_s)).size(), 2);
}

void DeleteDialogOperationsTest::noTickedRowStartsNothing_data()
{
    QTest::addColumn<QString>("operation");
    for (const char* operation : {"delete", "move", "copy"}) {
        QTest::newRow(operation) << QString::fromLatin1(operation);
    }
}

void DeleteDialogOperationsTest::noTickedRowStartsNothing()
{
    QFETCH(const QString, operation);
    DialogFixture fixture(operation);
    fixture.addFiles(makeFiles(2));
    fixture.setTicked(0, false);
    fixture.list()->item(1)->setCheckState(Qt::PartiallyChecked);
    fixture.directory()->setText(target());
    const QString label = fixture.countLabel();
    fixture.start();
    fixture.waitForIdle();
    QVERIFY(fixture.progress()->isHidden());
    QCOMPARE(fixture.countLabel(), label);
    QCOMPARE(entries(path(u"x"_s)).size(), 2);
    QCOMPARE(entries(target()), QStringList());
}

void DeleteDialogOperationsTest::allRowAloneIsNotAnOperand()
{
    const QStringList paths = makeFiles(2);
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(paths);
    fixture.setTicked(1, false);
    fixture.setTicked(2, false);
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Checked);
    fixture.start();
    fixture.waitForIdle();
    QVERIFY(fixture.progress()->isHidden());
    QCOMPARE(entries(path(u"x"_s)).size(), 2);
}

void DeleteDialogOperationsTest::progressFollowsTheFilesAndHidesASecondAfterTheResult()
{
    support::fireSingleShots(1000); // those of dialogs that are gone
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(makeFiles(50));
    fixture.start();
    QVERIFY(fixture.progress()->isVisible());
    waitForLabel(fixture, u"50 files deleted"_s);
    QVERIFY(fixture.progress()->isVisible());
    QCOMPARE(support::fireSingleShots(1000), 1);
    QVERIFY(fixture.progress()->isHidden());
    QTRY_COMPARE_WITH_TIMEOUT(fixture.progress()->value(), 50, kGuardMs);
    QCOMPARE(fixture.progress()->minimum(), 0);
    QCOMPARE(fixture.progress()->maximum(), 50);
}

void DeleteDialogOperationsTest::resultStaysUntilTheNextTick()
{
    const QStringList paths = makeFiles(3);
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(paths);
    fixture.setTicked(3, false);
    fixture.start();
    waitForLabel(fixture, u"2 files deleted"_s);
    QTRY_VERIFY_WITH_TIMEOUT(fixture.progress()->isHidden(), kGuardMs);
    QCOMPARE(fixture.countLabel(), u"2 files deleted"_s);
    fixture.setTicked(1, true);
    QCOMPARE(fixture.countLabel(), u"1 files marked for deletion"_s);
}

void DeleteDialogOperationsTest::interfaceStaysFreeDuringAnOperation()
{
    constexpr int count = 100;
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(count, filefixture::noise(500'000)));
    fixture.directory()->setText(target());
    const SlowDisk disk;
    fixture.start();
    // Back at once, with the work hardly begun; the dialog takes part in everything meanwhile.
    QVERIFY(entries(target()).size() < count);
    QVERIFY(fixture.list()->isEnabled());
    QVERIFY(fixture.directory()->isEnabled());
    QVERIFY(fixture.actionButton()->isEnabled());
    fixture.setTicked(1, false);
    QCOMPARE(fixture.countLabel(), u"99 files marked for copy"_s);
    QVERIFY(entries(target()).size() < count);
    waitForLabel(fixture, u"100 files copied"_s);
}

void DeleteDialogOperationsTest::secondPressRunsAfterTheFirst()
{
    constexpr int count = 100;
    const QString second = path(u"y"_s);
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(count, filefixture::noise(200'000)));
    fixture.directory()->setText(target());
    const SlowDisk disk;
    fixture.start();
    fixture.directory()->setText(second);
    fixture.setTicked(count, false);
    fixture.start();

    QSet<QString> labels;
    QElapsedTimer guard;
    guard.start();
    while (fixture.countLabel() != u"99 files copied" && guard.elapsed() < kGuardMs) {
        if (!entries(second).isEmpty()) {
            QCOMPARE(entries(target()).size(), count);
        }
        QVERIFY(fixture.pool()->activeThreadCount() <= 1);
        QCoreApplication::processEvents();
        labels.insert(fixture.countLabel());
    }
    // Each operation shows its own result when it ends.
    QVERIFY(labels.contains(u"100 files copied"_s));
    QCOMPARE(fixture.countLabel(), u"99 files copied"_s);
    QCOMPARE(entries(second).size(), count - 1);
}

void DeleteDialogOperationsTest::secondPressOfDeleteLosesNothingMore()
{
    const QStringList paths = makeFiles(300);
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(paths);
    for (int row = 101; row <= 300; ++row) {
        fixture.setTicked(row, false);
    }
    fixture.start();
    fixture.start();
    waitForLabel(fixture, u"0 files deleted"_s);
    QCOMPARE(fixture.rows().size(), 200);
    QCOMPARE(entries(path(u"x"_s)).size(), 200);
}

void DeleteDialogOperationsTest::whatWouldBeLostStays_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("replaced");
    for (const QString& operation : {u"delete"_s, u"move"_s}) {
        QTest::addRow("%s, reference ticked under another name", qPrintable(operation))
            << operation << false;
        QTest::addRow("%s, reference replaced by a link to it", qPrintable(operation))
            << operation << true;
    }
}

void DeleteDialogOperationsTest::whatWouldBeLostStays()
{
    QFETCH(const QString, operation);
    QFETCH(const bool, replaced);
    const QStringList files = makeFiles(2);
    QVERIFY(QFile::link(path(u"x"_s), path(u"link"_s)));
    const QString otherName = path(u"link/00001.mp3"_s);
    DialogFixture fixture(operation);
    fixture.dialog()->addRows(
        {{otherName, files.at(0), files.at(0)}, {files.at(1), {}, files.at(0)}});
    fixture.directory()->setText(target());
    if (replaced) {
        QVERIFY(QFile::remove(files.at(0)));
        QVERIFY(QFile::link(files.at(1), files.at(0)));
    } else {
        fixture.setTicked(1, true);
    }
    fixture.start();
    fixture.waitForIdle();
    QVERIFY(fixture.rows().contains(u"[ ] "_s + files.at(1)));
    QVERIFY(QFile::exists(files.at(1)));
    QCOMPARE(QFile::exists(otherName), replaced);
    // Ticked once more, by hand, it goes.
    fixture.setTicked(fixture.list()->count() - 1, true);
    fixture.start();
    fixture.waitForIdle();
    QVERIFY(!QFile::exists(files.at(1)));
}

void DeleteDialogOperationsTest::emptyDirectoryFieldUnticksNothing()
{
    const QStringList files = makeFiles(1);
    const DialogFixture fixture(u"move"_s);
    fixture.dialog()->addRows({{files.at(0), {}, path(u"absent"_s)}});
    fixture.start();
    QCOMPARE(fixture.rows(), QStringList(u"[x] "_s + files.at(0)));
    QCOMPARE(fixture.countLabel(), u"1 files marked for move"_s);
}

void DeleteDialogOperationsTest::duplicatesOfAReferenceThatHasGoneStay_data()
{
    QTest::addColumn<QString>("ending");
    QTest::newRow("delete") << u" files marked for deletion"_s;
    QTest::newRow("move") << u" files marked for move"_s;
}

void DeleteDialogOperationsTest::duplicatesOfAReferenceThatHasGoneStay()
{
    QFETCH(const QString, ending);
    const QStringList files = makeFiles(4);
    const DialogFixture fixture(QString::fromLatin1(QTest::currentDataTag()));
    fixture.dialog()->addRows({{files.at(2), {}, files.at(0)}, {files.at(3), {}, files.at(1)}});
    fixture.directory()->setText(target());
    QVERIFY(QFile::remove(files.at(0)));
    fixture.start();
    fixture.waitForIdle();
    QCOMPARE(fixture.rows(), QStringList(u"[ ] "_s + files.at(2)));
    QVERIFY(QFile::exists(files.at(2)));
    QVERIFY(!QFile::exists(files.at(3)));

    // Where no tick is left nothing is started, and the label follows.
    const DialogFixture alone(QString::fromLatin1(QTest::currentDataTag()));
    const QString reference = makeFiles(1).first();
    alone.dialog()->addRows({{files.at(2), {}, reference}});
    alone.directory()->setText(target());
    QVERIFY(QFile::remove(reference));
    alone.start();
    QCOMPARE(alone.countLabel(), u"0"_s + ending);
    QVERIFY(alone.progress()->isHidden());
}

void DeleteDialogOperationsTest::manyVanishedRowsAreRemoved()
{
    constexpr int count = 5'000;
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(makeFiles(count));
    for (int row = 2; row <= count; row += 2) {
        fixture.setTicked(row, false);
    }
    fixture.start();
    waitForLabel(fixture, u"2500 files deleted"_s);
    QCOMPARE(fixture.rows().size(), count / 2);
    QCOMPARE(fixture.rows().filter(u"[x]"_s).size(), 0);
    fixture.setTicked(0, false);
    fixture.setTicked(0, true);
    QCOMPARE(fixture.countLabel(), u"2500 files marked for deletion"_s);
}

QTEST_MAIN(DeleteDialogOperationsTest)
#include "tst_deletedialog_operations.moc"
