#include "support/contextmenus.h"
#include "support/previewcontrols.h"
#include "support/windowfixture.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QSlider>
#include <QTest>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

/** What can be done with rows of the results, besides hearing them with a double-click. */
class TestMainWindowResults : public QObject
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
    void init();
    void cleanup();

    void menuHasTheEntriesOfARow();
    void menuPlaysTheRow_data();
    void menuPlaysTheRow();
    void menuOpensTheFolder();
    void menuCopiesTheSelectedPaths();
    void menuKeyOpensTheMenuOfTheCurrentRow();
    void menuOfRowsThatAreGoneIsHarmless();
    void copyKeyCopiesThePathsFromTopToBottom();
    void copyKeyWithoutASelectionLeavesTheClipboardAlone();
    void severalRowsCanBeSelectedWithTheKeyboard();
    void sliderNamesTheLoadedFile();

private:
    QModelIndex row(int duplicate = -1) const;

    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<PreviewControls> m_preview;
    QTreeWidget* m_tree = nullptr;
    QList<QUrl> m_opened;
};

void TestMainWindowResults::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    fixture->window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&fixture->window()));
    m_preview = std::make_unique<PreviewControls>(*fixture);
    m_tree = m_preview->tree;
    m_preview->list(u"/m/a.mp3"_s, {u"/n/100% #1/b.mp3"_s, u"/n/c.mp3"_s});
    QApplication::clipboard()->setText(u"as it was"_s);
    m_opened.clear();
}

void TestMainWindowResults::cleanup()
{
    QToolTip::hideText();
    m_preview.reset();
    fixture.reset();
}

/** The first reference, or one of its duplicates. */
QModelIndex TestMainWindowResults::row(int duplicate) const
{
    const QModelIndex reference = m_tree->model()->index(0, 0);
    return duplicate < 0 ? reference : m_tree->model()->index(duplicate, 0, reference);
}

void TestMainWindowResults::menuHasTheEntriesOfARow()
{
    const QStringList single{u"Play"_s, u"Open folder"_s, u"Copy path"_s};
    const QStringList several{u"Play"_s, u"Open folder"_s, u"Copy paths"_s};
    for (const QModelIndex& each : {row(), row(0)}) {
        QMenu* menu = support::openMenu(m_tree, each);
        QCOMPARE(support::entriesOf(menu), single);
        menu->close();
    }
    m_tree->selectAll();
    QMenu* menu = support::openMenu(m_tree, row(1));
    QCOMPARE(support::entriesOf(menu), several);
    menu->close();
}

void TestMainWindowResults::menuPlaysTheRow_data()
{
    QTest::addColumn<int>("column");
    QTest::newRow("name") << 0;
    QTest::newRow("similarity") << 1;
}

void TestMainWindowResults::menuPlaysTheRow()
{
    QFETCH(const int, column);
    // Of several, the one under the pointer.
    m_tree->selectAll();
    QMenu* menu = support::openMenu(m_tree, row(1).siblingAtColumn(column));
    QVERIFY(support::chooseEntry(menu, u"Play"_s));
    QCOMPARE(m_preview->loadedPath(), u"/n/c.mp3"_s);
    QVERIFY(m_preview->label->isVisible());
}

void TestMainWindowResults::menuOpensTheFolder()
{
    QDesktopServices::setUrlHandler(u"file"_s, this, "catchUrl");
    QVERIFY(support::chooseEntry(support::openMenu(m_tree, row(0)), u"Open folder"_s));
    QTRY_COMPARE(m_opened.size(), 1);
    QDesktopServices::unsetUrlHandler(u"file"_s);
    QCOMPARE(m_opened.constFirst().toLocalFile(), u"/n/100% #1"_s);
}

void TestMainWindowResults::menuCopiesTheSelectedPaths()
{
    QVERIFY(support::chooseEntry(support::openMenu(m_tree, row(1)), u"Copy path"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/n/c.mp3"_s);
    m_tree->selectAll();
    QVERIFY(support::chooseEntry(support::openMenu(m_tree, row()), u"Copy paths"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/m/a.mp3\n/n/100% #1/b.mp3\n/n/c.mp3"_s);
}

void TestMainWindowResults::menuKeyOpensTheMenuOfTheCurrentRow()
{
    for (int i = 0; i < 100; ++i) {
        m_preview->list(u"/%1.mp3"_s.arg(i));
    }
    m_tree->setCurrentItem(m_tree->topLevelItem(100));
    m_tree->scrollToTop();
    QVERIFY(support::chooseEntry(support::openMenuByKey(m_tree), u"Copy path"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/99.mp3"_s);
    m_tree->setCurrentItem(m_tree->topLevelItem(99));
    QVERIFY(support::chooseEntry(support::openMenuByShiftF10(m_tree), u"Copy path"_s));
    QCOMPARE(QApplication::clipboard()->text(), u"/98.mp3"_s);
}

void TestMainWindowResults::menuOfRowsThatAreGoneIsHarmless()
{
    QMenu* menu = support::openMenu(m_tree, row(0));
    fixture->choose("actionNew_Comparison");
    QVERIFY(support::chooseEntry(menu, u"Play"_s));
    QCOMPARE(m_preview->loadedPath(), QString());
}

void TestMainWindowResults::copyKeyCopiesThePathsFromTopToBottom()
{
    m_tree->setFocus();
    for (const int duplicate : {1, 0, -1}) {
        m_tree->selectionModel()->select(row(duplicate),
                                         QItemSelectionModel::Select | QItemSelectionModel::Rows);
    }
    QTest::keyClick(m_tree, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), u"/m/a.mp3\n/n/100% #1/b.mp3\n/n/c.mp3"_s);
}

void TestMainWindowResults::copyKeyWithoutASelectionLeavesTheClipboardAlone()
{
    m_tree->setFocus();
    m_tree->clearSelection();
    QTest::keyClick(m_tree, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), u"as it was"_s);
}

void TestMainWindowResults::severalRowsCanBeSelectedWithTheKeyboard()
{
    m_tree->setFocus();
    m_tree->setCurrentItem(m_tree->topLevelItem(0));
    QTest::keyClick(m_tree, Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(m_tree, Qt::Key_C, Qt::ControlModifier);
    QCOMPARE(QApplication::clipboard()->text(), u"/m/a.mp3\n/n/100% #1/b.mp3"_s);
}

void TestMainWindowResults::sliderNamesTheLoadedFile()
{
    const auto toolTip = [this] {
        return support::toolTipOf(m_preview->slider, m_preview->slider->rect().center());
    };
    QCOMPARE(toolTip(), QString());
    m_preview->doubleClick(m_tree->topLevelItem(0)->child(0));
    QVERIFY2(toolTip().contains(u">/n/100% #1/b.mp3<"_s), qPrintable(toolTip()));
    fixture->choose("actionNew_Comparison");
    QCOMPARE(toolTip(), QString());
}

QTEST_MAIN(TestMainWindowResults)
#include "tst_mainwindow_results.moc"
