#include "dialogfixture.h"
#include "filefixture.h"
#include "slowdisk.h"
#include "support/timers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

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
        return path(u"target"_qs);
    }
    QStringList makeFiles(int count, const QByteArray& content = "x") const;
    static void waitForLabel(const DialogFixture& fixture, const QString& text);

    std::unique_ptr<filefixture::OpenFolder> m_folder;
};

void DeleteDialogOperationsTest::init()
{
    m_folder = std::make_unique<filefixture::OpenFolder>();
    QVERIFY(QDir().mkpath(target()));
    QVERIFY(QDir().mkpath(path(u"x"_qs)));
    QVERIFY(QDir().mkpath(path(u"y"_qs)));
    QVERIFY(QDir().mkpath(path(u"z"_qs)));
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
    const QStringList songs = {path(u"x/song.mp3"_qs), path(u"y/song.mp3"_qs),
                               path(u"z/song.mp3"_qs)};
    QVERIFY(write(songs.at(0), "in x"));
    QVERIFY(write(songs.at(1), "in y"));
    QVERIFY(write(songs.at(2), "in z"));
    DialogFixture fixture(u"copy"_qs);
    fixture.addFiles(songs);
    fixture.setTicked(2, false);
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"2 files copied"_qs);
    QCOMPARE(entries(target()), QStringList({u"song-copied-1.mp3"_qs, u"song-copied-2.mp3"_qs}));
    QCOMPARE(read(target() + u"/song-copied-1.mp3"_qs), "in x");
    QCOMPARE(read(target() + u"/song-copied-2.mp3"_qs), "in z");
}

void DeleteDialogOperationsTest::nameWithoutADotEndsInTheFullStop()
{
    QVERIFY(write(path(u"x/song"_qs), "1"));
    QVERIFY(write(path(u"x/a.live.mp3"_qs), "2"));
    DialogFixture fixture(u"move"_qs);
    fixture.addFiles({path(u"x/song"_qs), path(u"x/a.live.mp3"_qs)});
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"2 files moved"_qs);
    QCOMPARE(entries(target()), QStringList({u"a-moved-2.mp3"_qs, u"song-moved-1."_qs}));
}

void DeleteDialogOperationsTest::namesOfEveryKindAreMovedAndCopied()
{
    const QStringList names = {u"\U0001F3B5.mp3"_qs, u"a\nb.mp3"_qs,
                               QString(255 - 4, u'n') + u".mp3"_qs};
    QStringList paths;
    for (const QString& name : names) {
        paths.append(path(u"x/"_qs + name));
        QVERIFY(write(paths.constLast(), "x"));
    }
    DialogFixture copying(u"copy"_qs);
    copying.addFiles(paths);
    copying.directory()->setText(target());
    copying.start();
    // The third has no room for the marker and fails; the name rule makes no exception.
    waitForLabel(copying, u"2 files copied"_qs);

    DialogFixture moving(u"move"_qs);
    moving.addFiles(paths);
    moving.directory()->setText(target());
    moving.start();
    waitForLabel(moving, u"2 files moved"_qs);
    QCOMPARE(moving.rows(), QStringList(u"[x] "_qs + paths.at(2)));
    QCOMPARE(entries(target()),
             QStringList({u"a\nb-copied-2.mp3"_qs, u"a\nb-moved-2.mp3"_qs,
                          u"\U0001F3B5-copied-1.mp3"_qs, u"\U0001F3B5-moved-1.mp3"_qs}));
}

void DeleteDialogOperationsTest::directoryWithASeparatorAtItsEndGetsNoSecond()
{
    DialogFixture fixture(u"copy"_qs);
    fixture.addFiles(makeFiles(1));
    fixture.directory()->setText(target() + QDir::separator());
    fixture.start();
    waitForLabel(fixture, u"1 files copied"_qs);
    QCOMPARE(entries(target()), QStringList(u"00001-copied-1.mp3"_qs));
}

void DeleteDialogOperationsTest::copyingTwiceCopiesNothingTheSecondTime()
{
    DialogFixture fixture(u"copy"_qs);
    fixture.addFiles(makeFiles(3, "first"));
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"3 files copied"_qs);
    fixture.start();
    waitForLabel(fixture, u"0 files copied"_qs);
    QCOMPARE(entries(target()).size(), 3);
    QCOMPARE(read(target() + u"/00001-copied-1.mp3"_qs), "first");
}

void DeleteDialogOperationsTest::copyLeavesTheListAsItIs()
{
    const QStringList paths = makeFiles(3);
    DialogFixture fixture(u"copy"_qs);
    fixture.addFiles(paths);
    fixture.setTicked(1, false);
    QVERIFY(QFile::remove(paths.at(2)));
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"1 files copied"_qs);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] "_qs + paths.at(0), u"[x] "_qs + paths.at(1),
                                          u"[x] "_qs + paths.at(2)}));
    QVERIFY(QFile::exists(paths.at(1)));
}

void DeleteDialogOperationsTest::deletingEverythingEmptiesTheList()
{
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(makeFiles(3));
    fixture.start();
    waitForLabel(fixture, u"3 files deleted"_qs);
    QCOMPARE(fixture.list()->count(), 0);
    QCOMPARE(entries(path(u"x"_qs)), QStringList());
}

void DeleteDialogOperationsTest::deletingSomeKeepsTheRest()
{
    const QStringList paths = makeFiles(3);
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(paths);
    fixture.setTicked(2, false);
    fixture.start();
    waitForLabel(fixture, u"2 files deleted"_qs);
    QCOMPARE(fixture.rows(), QStringList(u"[ ] "_qs + paths.at(1)));
    QCOMPARE(fixture.list()->item(0)->text(), u"All"_qs);
    QCOMPARE(entries(path(u"x"_qs)), QStringList(u"00002.mp3"_qs));
}

void DeleteDialogOperationsTest::failedDeletesStayAndVanishedRowsGo()
{
    const QStringList paths = makeFiles(3);
    QVERIFY(QDir().mkpath(path(u"folder.mp3"_qs))); // exists and cannot be removed as a file
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(QStringList(paths) << path(u"folder.mp3"_qs));
    fixture.setTicked(1, false);
    QVERIFY(QFile::remove(paths.at(0))); // not ticked, vanished for another reason
    QVERIFY(QFile::remove(paths.at(1))); // ticked, but gone before its turn
    fixture.start();
    waitForLabel(fixture, u"1 files deleted"_qs);
    QCOMPARE(fixture.rows(), QStringList(u"[x] "_qs + path(u"folder.mp3"_qs)));
}

void DeleteDialogOperationsTest::failedMovesAreExactlyTheRowsThatRemain()
{
    const QStringList paths = makeFiles(4, "new");
    QVERIFY(write(target() + u"/00002-moved-2.mp3"_qs, "old"));
    QVERIFY(write(target() + u"/00004-moved-4.mp3"_qs, "old"));
    DialogFixture fixture(u"move"_qs);
    fixture.addFiles(paths);
    fixture.directory()->setText(target());
    fixture.start();
    waitForLabel(fixture, u"2 files moved"_qs);
    QCOMPARE(fixture.rows(), QStringList({u"[x] "_qs + paths.at(1), u"[x] "_qs + paths.at(3)}));
    QCOMPARE(read(target() + u"/00002-moved-2.mp3"_qs), "old");
    QCOMPARE(read(target() + u"/00004-moved-4.mp3"_qs), "old");
    QCOMPARE(read(target() + u"/00001-moved-1.mp3"_qs), "new");
    QCOMPARE(read(paths.at(1)), "new");
}

void DeleteDialogOperationsTest::moveBetweenFileSystemsKeepsContents()
{
    const filefixture::SecondFileSystem other;
    if (!other.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    const QByteArray content = filefixture::noise(300'007);
    DialogFixture fixture(u"move"_qs);
    fixture.addFiles(makeFiles(20, content));
    fixture.directory()->setText(other.path());
    fixture.start();
    waitForLabel(fixture, u"20 files moved"_qs);
    QCOMPARE(fixture.list()->count(), 0);
    QCOMPARE(entries(path(u"x"_qs)), QStringList());
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
    DialogFixture fixture(u"move"_qs);
    fixture.addFiles(makeFiles(6, content));
    fixture.directory()->setText(full.path());
    fixture.start();
    waitForLabel(fixture, u"3 files moved"_qs);
    QCOMPARE(fixture.rows().size(), 3);
    const QStringList kept = entries(path(u"x"_qs));
    QCOMPARE(kept, QStringList({u"00004.mp3"_qs, u"00005.mp3"_qs, u"00006.mp3"_qs}));
    for (const QString& name : kept) {
        QCOMPARE(read(path(u"x/"_qs + name)), content);
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
    QTest::newRow("delete") << u"delete"_qs << u"x"_qs << u"0 files deleted"_qs;
    QTest::newRow("move from") << u"move"_qs << u"x"_qs << u"0 files moved"_qs;
    QTest::newRow("move to") << u"move"_qs << u"target"_qs << u"0 files moved"_qs;
    QTest::newRow("copy to") << u"copy"_qs << u"target"_qs << u"0 files copied"_qs;
}

void DeleteDialogOperationsTest::operationsWithoutRightsFailAndKeepTheRows()
{
    QFETCH(const QString, operation);
    QFETCH(const QString, locked);
    QFETCH(const QString, result);
    const QStringList paths = makeFiles(2);
    for (const QString& name : {u"x"_qs, u"target"_qs}) {
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
    QCOMPARE(fixture.rows(), QStringList({u"[x] "_qs + paths.at(0), u"[x] "_qs + paths.at(1)}));
    QCOMPARE(entries(path(u"x"_qs)).size(), 2);
    QCOMPARE(entries(target()), QStringList());
    QVERIFY(QFile::setPermissions(path(locked), QFile::Permissions(0x7777)));
}

void DeleteDialogOperationsTest::missingDirectoryFailsSilently()
{
    const QStringList paths = makeFiles(2);
    DialogFixture fixture(u"move"_qs);
    fixture.addFiles(paths);
    fixture.directory()->setText(path(u"absent"_qs));
    fixture.start();
    waitForLabel(fixture, u"0 files moved"_qs);
    QCOMPARE(fixture.rows().size(), 2);
    QVERIFY(!QFile::exists(path(u"absent"_qs)));
}

void DeleteDialogOperationsTest::emptyDirectoryFieldStartsNothing_data()
{
    QTest::addColumn<QString>("operation");
    QTest::newRow("move") << u"move"_qs;
    QTest::newRow("copy") << u"copy"_qs;
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
    QCOMPARE(entries(path(u"x"_qs)).size(), 2);
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
    QCOMPARE(entries(path(u"x"_qs)).size(), 2);
    QCOMPARE(entries(target()), QStringList());
}

void DeleteDialogOperationsTest::allRowAloneIsNotAnOperand()
{
    const QStringList paths = makeFiles(2);
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(paths);
    fixture.setTicked(1, false);
    fixture.setTicked(2, false);
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Checked);
    fixture.start();
    fixture.waitForIdle();
    QVERIFY(fixture.progress()->isHidden());
    QCOMPARE(entries(path(u"x"_qs)).size(), 2);
}

void DeleteDialogOperationsTest::progressFollowsTheFilesAndHidesASecondAfterTheResult()
{
    support::fireSingleShots(1000); // those of dialogs that are gone
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(makeFiles(50));
    fixture.start();
    QVERIFY(fixture.progress()->isVisible());
    waitForLabel(fixture, u"50 files deleted"_qs);
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
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(paths);
    fixture.setTicked(3, false);
    fixture.start();
    waitForLabel(fixture, u"2 files deleted"_qs);
    QTRY_VERIFY_WITH_TIMEOUT(fixture.progress()->isHidden(), kGuardMs);
    QCOMPARE(fixture.countLabel(), u"2 files deleted"_qs);
    fixture.setTicked(1, true);
    QCOMPARE(fixture.countLabel(), u"1 files marked for deletion"_qs);
}

void DeleteDialogOperationsTest::interfaceStaysFreeDuringAnOperation()
{
    constexpr int count = 100;
    DialogFixture fixture(u"copy"_qs);
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
    QCOMPARE(fixture.countLabel(), u"99 files marked for copy"_qs);
    QVERIFY(entries(target()).size() < count);
    waitForLabel(fixture, u"100 files copied"_qs);
}

void DeleteDialogOperationsTest::secondPressRunsAfterTheFirst()
{
    constexpr int count = 100;
    const QString second = path(u"y"_qs);
    DialogFixture fixture(u"copy"_qs);
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
    QVERIFY(labels.contains(u"100 files copied"_qs));
    QCOMPARE(fixture.countLabel(), u"99 files copied"_qs);
    QCOMPARE(entries(second).size(), count - 1);
}

void DeleteDialogOperationsTest::secondPressOfDeleteLosesNothingMore()
{
    const QStringList paths = makeFiles(300);
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(paths);
    for (int row = 101; row <= 300; ++row) {
        fixture.setTicked(row, false);
    }
    fixture.start();
    fixture.start();
    waitForLabel(fixture, u"0 files deleted"_qs);
    QCOMPARE(fixture.rows().size(), 200);
    QCOMPARE(entries(path(u"x"_qs)).size(), 200);
}

void DeleteDialogOperationsTest::whatWouldBeLostStays_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("replaced");
    for (const QString& operation : {u"delete"_qs, u"move"_qs}) {
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
    QVERIFY(QFile::link(path(u"x"_qs), path(u"link"_qs)));
    const QString otherName = path(u"link/00001.mp3"_qs);
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
    QVERIFY(fixture.rows().contains(u"[ ] "_qs + files.at(1)));
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
    const DialogFixture fixture(u"move"_qs);
    fixture.dialog()->addRows({{files.at(0), {}, path(u"absent"_qs)}});
    fixture.start();
    QCOMPARE(fixture.rows(), QStringList(u"[x] "_qs + files.at(0)));
    QCOMPARE(fixture.countLabel(), u"1 files marked for move"_qs);
}

void DeleteDialogOperationsTest::duplicatesOfAReferenceThatHasGoneStay_data()
{
    QTest::addColumn<QString>("ending");
    QTest::newRow("delete") << u" files marked for deletion"_qs;
    QTest::newRow("move") << u" files marked for move"_qs;
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
    QCOMPARE(fixture.rows(), QStringList(u"[ ] "_qs + files.at(2)));
    QVERIFY(QFile::exists(files.at(2)));
    QVERIFY(!QFile::exists(files.at(3)));

    // Where no tick is left nothing is started, and the label follows.
    const DialogFixture alone(QString::fromLatin1(QTest::currentDataTag()));
    const QString reference = makeFiles(1).first();
    alone.dialog()->addRows({{files.at(2), {}, reference}});
    alone.directory()->setText(target());
    QVERIFY(QFile::remove(reference));
    alone.start();
    QCOMPARE(alone.countLabel(), u"0"_qs + ending);
    QVERIFY(alone.progress()->isHidden());
}

void DeleteDialogOperationsTest::manyVanishedRowsAreRemoved()
{
    constexpr int count = 5'000;
    DialogFixture fixture(u"delete"_qs);
    fixture.addFiles(makeFiles(count));
    for (int row = 2; row <= count; row += 2) {
        fixture.setTicked(row, false);
    }
    fixture.start();
    waitForLabel(fixture, u"2500 files deleted"_qs);
    QCOMPARE(fixture.rows().size(), count / 2);
    QCOMPARE(fixture.rows().filter(u"[x]"_qs).size(), 0);
    fixture.setTicked(0, false);
    fixture.setTicked(0, true);
    QCOMPARE(fixture.countLabel(), u"2500 files marked for deletion"_qs);
}

QTEST_MAIN(DeleteDialogOperationsTest)
#include "tst_deletedialog_operations.moc"
