#include "dialogfixture.h"
#include "support/contextmenus.h"

#include <QAbstractItemModel>
#include <QClipboard>
#include <QCompleter>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString kReference = u"/music/a <b>.flac"_s;

/** A row that may be the only copy: another name of a file that stays. */
DuplicateRow heldBack(const QString& path)
{
    return {path, u"/music/kept.mp3"_s};
}

} // namespace

/** Tooltips, several selected rows, the menu and the completion of folders. */
class DeleteDialogSelectionTest : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void catchUrl(const QUrl& url)
    {
        m_opened.append(url);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // No file manager of the machine's desktop answers.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    }
    void cleanup()
    {
        QToolTip::hideText();
    }

    void toolTipNamesTheReferenceAndHowAlikeItIs();
    void toolTipOfTwoRowsOfAFileNamesEachReference();
    void toolTipShowsTheNewNameWhileThereIsAFolder_data();
    void toolTipShowsTheNewNameWhileThereIsAFolder();
    void toolTipBeginsWithTheReasonOfARowThatIsHeldBack();
    void toolTipsAddNothingToTheRows();

    void spaceSetsAllSelectedRows();
    void spaceOnSeveralTicksNoneThatIsHeldBack();
    void aHeldSpaceBarActsOnce();
    void menuSetsAllSelectedRows();
    void menuTicksARowThatIsHeldBackByItself();
    void severalRowsWhoseReferenceHasGoneAreNotTicked();
    void allIsNotMeantAmongSeveral();
    void allAloneIsTickedAsByItsBox();
    void menuUnticksTheFilesOfTheFolder();

    void menuHasTheEntriesOfItsRow_data();
    void menuHasTheEntriesOfItsRow();
    void menuKeyOpensTheMenuOfTheCurrentRow();
    void menuOpensTheFolder();
    void menuCopiesThePath();
    void copyKeyCopiesTheSelectedPaths();
    void entriesOfRowsThatAreGoneDoNothing();

    void folderFieldCompletesFolders();

private:
    QList<QUrl> m_opened;
};

void DeleteDialogSelectionTest::toolTipNamesTheReferenceAndHowAlikeItIs()
{
    const DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({{u"/b.mp3"_s, {}, kReference, true, 87}});
    const auto* model = fixture.list()->model();
    const QString text = support::toolTipOf(fixture.list(), model->index(1, 0));
    QVERIFY2(text.contains(u">87 % like /music/a &lt;b&gt;.flac<"_s), qPrintable(text));
    QCOMPARE(support::toolTipOf(fixture.list(), model->index(0, 0)), QString());
}

void DeleteDialogSelectionTest::toolTipOfTwoRowsOfAFileNamesEachReference()
{
    const DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows(
        {{u"/b.mp3"_s, {}, u"/1.mp3"_s, true, 71}, {u"/b.mp3"_s, {}, u"/2.mp3"_s, true, 99}});
    const auto* model = fixture.list()->model();
    QVERIFY(support::toolTipOf(fixture.list(), model->index(1, 0)).contains(u"71 % like /1.mp3"_s));
    QVERIFY(support::toolTipOf(fixture.list(), model->index(2, 0)).contains(u"99 % like /2.mp3"_s));
}

void DeleteDialogSelectionTest::toolTipShowsTheNewNameWhileThereIsAFolder_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QStringList>("names"); // of the rows, "" where there is none
    QTest::newRow("move") << u"move"_s << u"/target"_s
                          << QStringList{u"08-moved-1.mp3"_s, QString(), u"09-moved-2."_s};
    QTest::newRow("copy") << u"copy"_s << u"/target/"_s
                          << QStringList{u"08-copied-1.mp3"_s, QString(), u"09-copied-2."_s};
    QTest::newRow("no folder") << u"move"_s << QString() << QStringList{{}, {}, {}};
    QTest::newRow("delete") << u"delete"_s << u"/target"_s << QStringList{{}, {}, {}};
}

void DeleteDialogSelectionTest::toolTipShowsTheNewNameWhileThereIsAFolder()
{
    QFETCH(const QString, operation);
    QFETCH(const QString, folder);
    QFETCH(const QStringList, names);
    DialogFixture fixture(operation);
    fixture.addFiles({u"/m/08. Title.mp3"_s, u"/m/b.mp3"_s, u"/m/09"_s});
    fixture.setTicked(2, false);
    fixture.directory()->setText(folder);
    for (int row = 1; row <= 3; ++row) {
        const QString text =
            support::toolTipOf(fixture.list(), fixture.list()->model()->index(row, 0));
        const QString name = names.at(row - 1);
        QCOMPARE(text.contains(u"becomes"_s), !name.isEmpty());
        QVERIFY2(name.isEmpty() || text.contains(u">becomes "_s + name + u"<"_s), qPrintable(text));
    }
}

void DeleteDialogSelectionTest::toolTipBeginsWithTheReasonOfARowThatIsHeldBack()
{
    const DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({{u"/b.mp3"_s, {}, u"/gone.mp3"_s, false, 93}});
    const QString text = support::toolTipOf(fixture.list(), fixture.list()->model()->index(1, 0));
    const qsizetype reason = text.indexOf(u"Its reference /gone.mp3 is missing"_s);
    QVERIFY2(reason >= 0 && reason < text.indexOf(u"93 % like /gone.mp3"_s), qPrintable(text));
}

void DeleteDialogSelectionTest::toolTipsAddNothingToTheRows()
{
    const DialogFixture fixture(u"move"_s);
    fixture.dialog()->addRows({{u"/b.mp3"_s, {}, kReference, true, 87}});
    fixture.directory()->setText(u"/target"_s);
    const auto before = fixture.list()->model()->itemData(fixture.list()->model()->index(1, 0));
    QVERIFY(!support::toolTipOf(fixture.list(), fixture.list()->model()->index(1, 0)).isEmpty());
    QCOMPARE(fixture.list()->model()->itemData(fixture.list()->model()->index(1, 0)), before);
    QCOMPARE(fixture.list()->item(1)->toolTip(), QString());
}

void DeleteDialogSelectionTest::spaceSetsAllSelectedRows()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s, u"/3"_s, u"/4"_s});
    fixture.setTicked(2, false);
    fixture.list()->setFocus();
    fixture.list()->setCurrentRow(2);
    QTest::keyClick(fixture.list(), Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[x] /1"_s, u"[x] /2"_s, u"[x] /3"_s, u"[x] /4"_s}));
    QCOMPARE(fixture.countLabel(), u"4 files marked for deletion"_s);
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[x] /1"_s, u"[ ] /2"_s, u"[ ] /3"_s, u"[x] /4"_s}));
    QCOMPARE(fixture.countLabel(), u"2 files marked for deletion"_s);
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.countLabel(), u"4 files marked for deletion"_s);
}

void DeleteDialogSelectionTest::spaceOnSeveralTicksNoneThatIsHeldBack()
{
    const DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({{u"/1"_s}, heldBack(u"/2"_s), {u"/3"_s}});
    fixture.list()->setFocus();
    fixture.list()->setCurrentRow(1);
    QTest::keyClick(fixture.list(), Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(fixture.list(), Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /1"_s, u"[ ] /2"_s, u"[ ] /3"_s}));
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[x] /1"_s, u"[ ] /2"_s, u"[x] /3"_s}));
    // What was ticked by itself is unticked with the others.
    fixture.list()->item(2)->setCheckState(Qt::Checked);
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /1"_s, u"[ ] /2"_s, u"[ ] /3"_s}));
}

void DeleteDialogSelectionTest::aHeldSpaceBarActsOnce()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s});
    fixture.list()->selectAll();
    for (const bool repeated : {false, true, true, true}) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, u" "_s, repeated);
        QApplication::sendEvent(fixture.list(), &press);
        QCOMPARE(fixture.rows(), QStringList({u"[ ] /1"_s, u"[ ] /2"_s}));
    }
}

void DeleteDialogSelectionTest::menuSetsAllSelectedRows()
{
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s, u"/3"_s});
    const auto* model = fixture.list()->model();
    fixture.list()->item(1)->setSelected(true);
    fixture.list()->item(3)->setSelected(true);
    QVERIFY(
        support::chooseEntry(support::openMenu(fixture.list(), model->index(3, 0)), u"Untick"_s));
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /1"_s, u"[x] /2"_s, u"[ ] /3"_s}));
    QCOMPARE(fixture.countLabel(), u"1 files marked for copy"_s);
    QVERIFY(support::chooseEntry(support::openMenu(fixture.list(), model->index(1, 0)), u"Tick"_s));
    QCOMPARE(fixture.rows(), QStringList({u"[x] /1"_s, u"[x] /2"_s, u"[x] /3"_s}));
    QCOMPARE(fixture.countLabel(), u"3 files marked for copy"_s);
}

void DeleteDialogSelectionTest::menuTicksARowThatIsHeldBackByItself()
{
    const DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({{u"/1"_s}, heldBack(u"/2"_s)});
    const auto* model = fixture.list()->model();
    fixture.list()->selectAll();
    QVERIFY(support::chooseEntry(support::openMenu(fixture.list(), model->index(2, 0)), u"Tick"_s));
    QCOMPARE(fixture.rows(), QStringList({u"[x] /1"_s, u"[ ] /2"_s}));
    fixture.list()->setCurrentRow(2);
    QVERIFY(support::chooseEntry(support::openMenu(fixture.list(), model->index(2, 0)), u"Tick"_s));
    QCOMPARE(fixture.rows(), QStringList({u"[x] /1"_s, u"[x] /2"_s}));
    QCOMPARE(fixture.countLabel(), u"2 files marked for deletion"_s);
}

void DeleteDialogSelectionTest::severalRowsWhoseReferenceHasGoneAreNotTicked()
{
    const QTemporaryDir folder;
    const QString reference = folder.filePath(u"a.mp3"_s);
    QVERIFY(QFile(reference).open(QFile::WriteOnly));
    const DialogFixture fixture(u"delete"_s);
    fixture.dialog()->addRows({{u"/b.mp3"_s, {}, reference}, {u"/c.mp3"_s, {}, reference}});
    fixture.list()->item(0)->setCheckState(Qt::Unchecked);
    QVERIFY(QFile::remove(reference));
    fixture.list()->selectAll();
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /b.mp3"_s, u"[ ] /c.mp3"_s}));
    QCOMPARE(fixture.countLabel(), u"0 files marked for deletion"_s);
}

void DeleteDialogSelectionTest::allIsNotMeantAmongSeveral()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s, u"/3"_s});
    fixture.list()->item(0)->setSelected(true);
    fixture.list()->item(1)->setSelected(true);
    QTest::keyClick(fixture.list(), Qt::Key_Space);
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /1"_s, u"[x] /2"_s, u"[x] /3"_s}));
    QCOMPARE(fixture.list()->item(0)->checkState(), Qt::Checked);
}

void DeleteDialogSelectionTest::allAloneIsTickedAsByItsBox()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s});
    QVERIFY(support::chooseEntry(
        support::openMenu(fixture.list(), fixture.list()->model()->index(0, 0)), u"Untick"_s));
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /1"_s, u"[ ] /2"_s}));
    QCOMPARE(fixture.countLabel(), u"0 files marked for deletion"_s);
}

void DeleteDialogSelectionTest::menuUnticksTheFilesOfTheFolder()
{
    DialogFixture fixture(u"move"_s);
    fixture.addFiles({u"/m/a/1"_s, u"/m/a/2"_s, u"/m/ab/3"_s, u"/m/a/c/4"_s, u"/m/5"_s});
    fixture.list()->selectAll();
    QVERIFY(support::chooseEntry(
        support::openMenu(fixture.list(), fixture.list()->model()->index(2, 0)),
        u"Untick those in this folder"_s));
    QCOMPARE(fixture.rows(), QStringList({u"[ ] /m/a/1"_s, u"[ ] /m/a/2"_s, u"[x] /m/ab/3"_s,
                                          u"[x] /m/a/c/4"_s, u"[x] /m/5"_s}));
    QCOMPARE(fixture.countLabel(), u"3 files marked for move"_s);
}

void DeleteDialogSelectionTest::menuHasTheEntriesOfItsRow_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<bool>("all");
    QTest::addColumn<QStringList>("entries");
    const QStringList ticks{u"Tick"_s, u"Untick"_s};
    const QStringList folder{u"Untick those in this folder"_s, u"-"_s, u"Open folder"_s};
    QTest::newRow("All") << 0 << false << ticks;
    QTest::newRow("a file") << 1 << false << ticks + folder + QStringList{u"Copy path"_s};
    QTest::newRow("several") << 1 << true << ticks + folder + QStringList{u"Copy paths"_s};
}

void DeleteDialogSelectionTest::menuHasTheEntriesOfItsRow()
{
    QFETCH(const int, row);
    QFETCH(const bool, all);
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s});
    if (all) {
        fixture.list()->selectAll();
    }
    QMenu* menu = support::openMenu(fixture.list(), fixture.list()->model()->index(row, 0));
    QTEST(support::entriesOf(menu), "entries");
    menu->close();
    // None beside the rows.
    const QPoint place = fixture.list()->viewport()->rect().bottomRight() - QPoint(5, 5);
    QContextMenuEvent event(QContextMenuEvent::Mouse, place,
                            fixture.list()->viewport()->mapToGlobal(place));
    QApplication::sendEvent(fixture.list()->viewport(), &event);
    QVERIFY(support::menuShown() == nullptr);
}

void DeleteDialogSelectionTest::menuKeyOpensTheMenuOfTheCurrentRow()
{
    DialogFixture fixture(u"delete"_s);
    QStringList paths;
    for (int i = 1; i <= 100; ++i) {
        paths.append(u"/%1"_s.arg(i));
    }
    fixture.addFiles(paths);
    fixture.list()->setCurrentRow(100);
    fixture.list()->scrollToTop();
    QMenu* menu = support::openMenuByKey(fixture.list());
    QVERIFY(support::chooseEntry(menu, u"Copy path"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/100"_s);
}

void DeleteDialogSelectionTest::menuOpensTheFolder()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/music/50% #1/a.mp3"_s});
    m_opened.clear();
    QDesktopServices::setUrlHandler(u"file"_s, this, "catchUrl");
    QVERIFY(support::chooseEntry(
        support::openMenu(fixture.list(), fixture.list()->model()->index(1, 0)), u"Open folder"_s));
    QTRY_COMPARE(m_opened.size(), 1);
    QDesktopServices::unsetUrlHandler(u"file"_s);
    QCOMPARE(m_opened.constFirst().toLocalFile(), u"/music/50% #1"_s);
}

void DeleteDialogSelectionTest::menuCopiesThePath()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s, u"/3"_s});
    const auto* model = fixture.list()->model();
    // A row beside the selected ones is selected instead of them.
    fixture.list()->item(1)->setSelected(true);
    QVERIFY(support::chooseEntry(support::openMenu(fixture.list(), model->index(2, 0)),
                                 u"Copy path"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/2"_s);
    fixture.list()->item(1)->setSelected(true);
    QVERIFY(support::chooseEntry(support::openMenu(fixture.list(), model->index(2, 0)),
                                 u"Copy paths"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/1\n/2"_s);
}

void DeleteDialogSelectionTest::copyKeyCopiesTheSelectedPaths()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s, u"/3"_s});
    fixture.dialog()->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(fixture.dialog()));
    fixture.list()->setFocus();
    fixture.list()->item(3)->setSelected(true);
    fixture.list()->item(1)->setSelected(true);
    QTest::keyClick(fixture.list(), Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), u"/1\n/3"_s);
}

void DeleteDialogSelectionTest::entriesOfRowsThatAreGoneDoNothing()
{
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles({u"/1"_s, u"/2"_s});
    for (const QString& entry : {u"Tick"_s, u"Untick those in this folder"_s, u"Copy path"_s}) {
        QMenu* menu = support::openMenu(fixture.list(), fixture.list()->model()->index(1, 0));
        fixture.list()->clear();
        QVERIFY(support::chooseEntry(menu, entry));
        QCOMPARE(fixture.list()->count(), 0);
        fixture.addFiles({u"/1"_s, u"/2"_s});
    }
    QCOMPARE(QApplication::clipboard()->text(), u"/1"_s);
}

void DeleteDialogSelectionTest::folderFieldCompletesFolders()
{
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(u"music of mine"_s));
    QVERIFY(QFile(folder.filePath(u"music.mp3"_s)).open(QFile::WriteOnly));
    const DialogFixture fixture(u"move"_s);
    fixture.dialog()->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(fixture.dialog()));
    fixture.directory()->setFocus();
    QTest::keyClicks(fixture.directory(), folder.filePath(u"mus"_s));
    QAbstractItemView* popup = fixture.directory()->completer()->popup();
    QTRY_VERIFY_WITH_TIMEOUT(popup->isVisible(), 60000);
    QCOMPARE(popup->model()->rowCount(), 1);
    QTest::keyClick(popup, Qt::Key_Down);
    QTest::keyClick(popup, Qt::Key_Return);
    QCOMPARE(fixture.directory()->text(), folder.filePath(u"music of mine"_s));
    QVERIFY(fixture.dialog()->isVisible());
}

QTEST_MAIN(DeleteDialogSelectionTest)
#include "tst_deletedialog_selection.moc"
