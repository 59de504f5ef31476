#include "programwindows.h"
#include "settings/settingsstore.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QThreadPool>
#include <QTimer>
#include <QTreeWidget>

// The program without a mouse, and as a screen reader presents it.

namespace {

/** What Tab can give the focus to at present. */
QStringList focusable(const QWidget* window)
{
    QStringList names;
    const QList<QWidget*> widgets = window->findChildren<QWidget*>();
    for (const QWidget* widget : widgets) {
        if ((widget->focusPolicy() & Qt::TabFocus) != 0 && widget->isVisibleTo(window) &&
            widget->isEnabled() && widget->focusProxy() == nullptr) {
            names.append(widget->objectName());
        }
    }
    names.sort();
    return names;
}

/** Presses \a key until the focus comes back to where it was, and names the stations. */
QStringList walk(Qt::Key key)
{
    constexpr int kMostStations = 100;
    const QWidget* first = QApplication::focusWidget();
    QStringList names;
    while (names.size() < kMostStations) {
        names.append(QApplication::focusWidget()->objectName());
        QTest::keyClick(QApplication::focusWidget(), key,
                        key == Qt::Key_Backtab ? Qt::ShiftModifier : Qt::NoModifier);
        if (QApplication::focusWidget() == first) {
            break;
        }
    }
    return names;
}

/** Presses \a key and keeps it down, as far as its first repetitions. */
void hold(QWidget* widget, Qt::Key key)
{
    widget->setFocus();
    for (const bool repeated : {false, true, true}) {
        // As for a key of the keyboard, the shortcuts are asked first.
        if (!qt_sendShortcutOverrideEvent(widget, 0, key, Qt::NoModifier, QString(), repeated)) {
            QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(), repeated);
            QApplication::sendEvent(widget, &press);
        }
    }
}

/** What Tab can ever give the focus to, shown and enabled at present or not. */
QList<QWidget*> controlsOf(const QWidget* window)
{
    QList<QWidget*> controls = window->findChildren<QWidget*>();
    controls.removeIf([](const QWidget* widget) {
        return (widget->focusPolicy() & Qt::TabFocus) == 0 || widget->objectName().isEmpty() ||
               widget->objectName().startsWith(QStringLiteral("qt_"));
    });
    return controls;
}

QString spokenName(QWidget* widget)
{
    // The accessible text of a combo box is the current item.
    if (qobject_cast<QComboBox*>(widget) != nullptr) {
        return widget->accessibleName();
    }
    QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(widget);
    return interface == nullptr ? QString() : interface->text(QAccessible::Name);
}

QStringList names(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* name : list) {
        result.append(QString::fromLatin1(name));
    }
    return result;
}

} // namespace

class TestKeyboard : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void catchUrl(const QUrl& url)
    {
        m_openedPages.append(url);
    }

private Q_SLOTS:
    void init()
    {
        m_openedPages.clear();
        m_windows = std::make_unique<ProgramWindows>();
    }
    void cleanup()
    {
        m_windows.reset();
    }

    void tabFollowsTheEye_data();
    void tabFollowsTheEye();
    void tabReachesBothGroupsAndStop();
    void everyControlHasASpokenName_data()
    {
        ProgramWindows::addRows();
    }
    void everyControlHasASpokenName();
    void buttonsWithoutWordsHaveToolTips();
    void controlsThatActAreDescribed_data();
    void controlsThatActAreDescribed();
    void labelsLeadToTheirControls();
    void actionsHaveTheUsualKeys();
    void keysOfTheActionsWork();
    void altReachesTheMenus();
    void returnPressesTheButtonWithTheFocus();
    void aHeldKeyActsOnce();
    void returnSavesTheSettings();
    void returnClosesTheVersion();
    void returnNeverStartsAFileOperation();
    void returnPressesTheHarmlessButtonsOfTheFileDialog();
    void spaceTicksFiles();
    void escapeClosesDialogsOnly_data()
    {
        ProgramWindows::addRows();
    }
    void escapeClosesDialogsOnly();

private:
    std::unique_ptr<ProgramWindows> m_windows;
    QList<QUrl> m_openedPages;
};

void TestKeyboard::tabFollowsTheEye_data()
{
    QTest::addColumn<QString>("window");
    QTest::addColumn<QStringList>("stations");
    const auto row = [](const char* window, std::initializer_list<const char*> stations) {
        QTest::newRow(window) << QString::fromLatin1(window) << names(stations);
    };
    row("main",
        {"comparisonModeSelector", "addFolderButtonGroupA", "removeFolderButtonGroupA",
         "folderListGroupA", "compareButton", "playButton", "audioSlider", "treeWidget",
         "deleteFilesButtonMainwindow", "moveFilesButtonMainwindow", "copyFilesButtonMainwindow"});
    row("settings", {"similarityThresh", "multicore", "saveButton", "cancelButton"});
    row("about", {"okButton"});
    row("delete", {"filesList", "deleteButton", "okButton", "cancelButton"});
    row("move",
        {"filesList", "chooseDirButton", "dirLabel", "moveButton", "okButton", "cancelButton"});
    row("copy",
        {"filesList", "chooseDirButton", "dirLabel", "copyButton", "okButton", "cancelButton"});
}

void TestKeyboard::tabFollowsTheEye()
{
    QFETCH(QString, window);
    QFETCH(QStringList, stations);
    QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    shown->findChild<QWidget*>(stations.constFirst())->setFocus();
    QCOMPARE(walk(Qt::Key_Tab), stations);
    QStringList backwards{stations.constFirst()};
    std::copy(stations.crbegin(), std::prev(stations.crend()), std::back_inserter(backwards));
    QCOMPARE(walk(Qt::Key_Backtab), backwards);
    // Nothing that could have the focus was passed over.
    stations.sort();
    QCOMPARE(focusable(shown), stations);
}

void TestKeyboard::tabReachesBothGroupsAndStop()
{
    WindowFixture& fixture = m_windows->fixture();
    fixture.open();
    fixture.window().activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&fixture.window()));
    fixture.find<QWidget>("stopButton")->setEnabled(true);
    fixture.find<QWidget>("folderListGroupA")->setFocus();
    QCOMPARE(walk(Qt::Key_Tab).mid(0, 7),
             names({"folderListGroupA", "addFolderButtonGroupB", "removeFolderButtonGroupB",
                    "folderListGroupB", "compareButton", "stopButton", "playButton"}));
}

void TestKeyboard::everyControlHasASpokenName()
{
    QFETCH(QString, window);
    QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    const QList<QWidget*> controls = controlsOf(shown);
    QVERIFY(!controls.isEmpty());
    for (QWidget* control : controls) {
        const QString name = spokenName(control);
        QVERIFY2(!name.isEmpty() && !name.contains(QStringLiteral("...")),
                 qPrintable(control->objectName()));
    }
    const QStringList reached = focusable(shown);
    QVERIFY2(!reached.contains(QString()), qPrintable(reached.join(u' ')));
}

void TestKeyboard::buttonsWithoutWordsHaveToolTips()
{
    m_windows->fixture().open();
    int count = 0;
    const QList<QPushButton*> buttons = m_windows->fixture().window().findChildren<QPushButton*>();
    for (const QPushButton* button : buttons) {
        if (button->text() == QStringLiteral("...")) {
            ++count;
            QVERIFY2(!button->toolTip().isEmpty(), qPrintable(button->objectName()));
        }
    }
    QCOMPARE(count, 6);
}

void TestKeyboard::controlsThatActAreDescribed_data()
{
    QTest::addColumn<QString>("window");
    for (const char* window : {"main", "delete", "move", "copy"}) {
        QTest::newRow(window) << QString::fromLatin1(window);
    }
}

void TestKeyboard::controlsThatActAreDescribed()
{
    QFETCH(QString, window);
    QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    const QList<QWidget*> controls = controlsOf(shown);
    QVERIFY(!controls.isEmpty());
    for (const QWidget* control : controls) {
        QVERIFY2(!control->accessibleDescription().isEmpty(), qPrintable(control->objectName()));
    }
}

void TestKeyboard::labelsLeadToTheirControls()
{
    m_windows->fixture().open();
    const QWidget* window = &m_windows->fixture().window();
    const auto buddy = [&window](const char* label) {
        const QWidget* control = window->findChild<QLabel*>(QString::fromLatin1(label))->buddy();
        return control == nullptr ? QString() : control->objectName();
    };
    QCOMPARE(buddy("label"), QStringLiteral("comparisonModeSelector"));
    QCOMPARE(buddy("label_A"), QStringLiteral("folderListGroupA"));
    QCOMPARE(buddy("label_B"), QStringLiteral("folderListGroupB"));
    window = m_windows->open(QStringLiteral("settings"));
    QVERIFY(window != nullptr);
    QCOMPARE(buddy("SimilarityLabel"), QStringLiteral("similarityThresh"));
    QCOMPARE(buddy("label"), QStringLiteral("multicore"));
    window = m_windows->open(QStringLiteral("delete"));
    QVERIFY(window != nullptr);
    QCOMPARE(buddy("deleteLabel"), QStringLiteral("filesList"));
}

void TestKeyboard::actionsHaveTheUsualKeys()
{
    m_windows->fixture().open();
    const auto keys = [this](const char* action) {
        return m_windows->fixture().find<QAction>(action)->shortcuts();
    };
    QVERIFY(keys("actionNew_Comparison").contains(QKeySequence(QStringLiteral("Ctrl+N"))));
    QVERIFY(keys("actionSettings").contains(QKeySequence(QStringLiteral("Ctrl+,"))));
    QVERIFY(keys("actionExit").contains(QKeySequence(QStringLiteral("Ctrl+Q"))));
    QVERIFY(keys("actionHelp_Online").contains(QKeySequence(QStringLiteral("F1"))));
}

void TestKeyboard::keysOfTheActionsWork()
{
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    const WindowFixture& fixture = m_windows->fixture();

    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "catchUrl");
    QTest::keyClick(window, Qt::Key_F1);
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    QCOMPARE(m_openedPages.size(), 1);
    QCOMPARE(m_openedPages.constFirst().path(), QStringLiteral("/help"));

    QCOMPARE(fixture.find<QTreeWidget>("treeWidget")->topLevelItemCount(), 1);
    QTest::keyClick(window, Qt::Key_N, Qt::ControlModifier);
    QCOMPARE(fixture.find<QTreeWidget>("treeWidget")->topLevelItemCount(), 0);
    QCOMPARE(fixture.folders('A'), QStringList());

    QTest::keyClick(window, Qt::Key_Comma, Qt::ControlModifier);
    QVERIFY(ProgramWindows::shown(QStringLiteral("settings")) != nullptr);

    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window));
    QTest::keyClick(window, Qt::Key_Q, Qt::ControlModifier);
    QVERIFY(!window->isVisible());
}

void TestKeyboard::altReachesTheMenus()
{
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    m_windows->fixture().find<QWidget>("treeWidget")->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Alt, Qt::AltModifier);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
    auto* menu = m_windows->fixture().find<QMenu>("menuCompare_Audio");
    QTRY_VERIFY(menu->isVisible());
    QTest::keyClick(menu, Qt::Key_Escape);
    QTRY_VERIFY(!menu->isVisible());
}

void TestKeyboard::returnPressesTheButtonWithTheFocus()
{
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    auto* remove = m_windows->fixture().find<QPushButton>("removeFolderButtonGroupA");
    m_windows->fixture().find<QListWidget>("folderListGroupA")->setCurrentRow(0);
    remove->setFocus();
    QTest::keyClick(remove, Qt::Key_Return);
    QCOMPARE(m_windows->fixture().folders('A'), QStringList());
}

void TestKeyboard::aHeldKeyActsOnce()
{
    QWidget* window = m_windows->open(QStringLiteral("main"));
    QVERIFY(window != nullptr);
    const WindowFixture& fixture = m_windows->fixture();
    const QList<QPushButton*> buttons = window->findChildren<QPushButton*>();
    for (QPushButton* button : buttons) {
        if (!button->isEnabled() || !button->isVisible() ||
            button->objectName().startsWith(QStringLiteral("add"))) {
            continue;
        }
        const QSignalSpy presses(button, &QPushButton::clicked);
        // Whatever it opens is not there while the key is down, and so never gets the rest.
        hold(button, Qt::Key_Return);
        QVERIFY2(presses.isEmpty(), qPrintable(button->objectName()));
        QTest::keyRelease(button, Qt::Key_Return);
        QVERIFY2(presses.size() == 1, qPrintable(button->objectName()));
    }

    QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "catchUrl");
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window));
    hold(fixture.find<QTreeWidget>("treeWidget"), Qt::Key_F1);
    QDesktopServices::unsetUrlHandler(QStringLiteral("https"));
    QCOMPARE(m_openedPages.size(), 1);
}

void TestKeyboard::returnSavesTheSettings()
{
    QWidget* dialog = m_windows->open(QStringLiteral("settings"));
    QVERIFY(dialog != nullptr);
    auto* threshold = dialog->findChild<QLineEdit*>(QStringLiteral("similarityThresh"));
    threshold->setFocus();
    threshold->selectAll();
    QTest::keyClicks(threshold, QStringLiteral("81"));
    QTest::keyClick(threshold, Qt::Key_Return);
    QVERIFY(ProgramWindows::shown(QStringLiteral("settings")) == nullptr);
    QCOMPARE(settings::similarityThreshold(), 81);
}

void TestKeyboard::returnClosesTheVersion()
{
    QWidget* dialog = m_windows->open(QStringLiteral("about"));
    QVERIFY(dialog != nullptr);
    QTest::keyClick(dialog, Qt::Key_Return);
    QVERIFY(ProgramWindows::shown(QStringLiteral("about")) == nullptr);
}

void TestKeyboard::returnNeverStartsAFileOperation()
{
    const QStringList operations{QStringLiteral("delete"), QStringLiteral("move"),
                                 QStringLiteral("copy")};
    for (const QString& operation : operations) {
        m_windows = std::make_unique<ProgramWindows>();
        QWidget* dialog = m_windows->open(operation);
        QVERIFY(dialog != nullptr);
        const QDir target(QFileInfo(m_windows->files().constFirst()).path());
        QVERIFY(target.mkdir(QStringLiteral("target")));
        const QString targetPath = target.filePath(QStringLiteral("target"));
        dialog->findChild<QLineEdit*>(QStringLiteral("dirLabel"))->setText(targetPath);
        for (const QString& name : {QStringLiteral("filesList"), QStringLiteral("dirLabel"),
                                    operation + QStringLiteral("Button")}) {
            auto* widget = dialog->findChild<QWidget*>(name);
            if (widget->isVisible()) {
                widget->setFocus();
                QTest::keyClick(widget, Qt::Key_Return);
                QTest::keyClick(widget, Qt::Key_Enter);
            }
        }
        QVERIFY2(dialog->isVisible(), qPrintable(operation));
        dialog->findChild<QThreadPool*>()->waitForDone();
        QVERIFY(QDir(targetPath).isEmpty());
        for (const QString& file : m_windows->files()) {
            QVERIFY2(QFile::exists(file), qPrintable(operation));
        }
    }
}

void TestKeyboard::returnPressesTheHarmlessButtonsOfTheFileDialog()
{
    for (const char* name : {"okButton", "cancelButton"}) {
        m_windows = std::make_unique<ProgramWindows>();
        QWidget* dialog = m_windows->open(QStringLiteral("move"));
        QVERIFY(dialog != nullptr);
        auto* button = dialog->findChild<QPushButton*>(QString::fromLatin1(name));
        button->setFocus();
        QTest::keyClick(button, Qt::Key_Return);
        QVERIFY2(ProgramWindows::shown(QStringLiteral("move")) == nullptr, name);
    }

    m_windows = std::make_unique<ProgramWindows>();
    QWidget* dialog = m_windows->open(QStringLiteral("copy"));
    QVERIFY(dialog != nullptr);
    bool asked = false;
    QTimer answer;
    connect(&answer, &QTimer::timeout, &answer, [&asked] {
        if (auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            asked = true;
            chooser->reject();
        }
    });
    answer.start(std::chrono::milliseconds(5));
    auto* choose = dialog->findChild<QPushButton*>(QStringLiteral("chooseDirButton"));
    choose->setFocus();
    QTest::keyClick(choose, Qt::Key_Return);
    QVERIFY(asked);
}

void TestKeyboard::spaceTicksFiles()
{
    QWidget* dialog = m_windows->open(QStringLiteral("delete"));
    QVERIFY(dialog != nullptr);
    auto* list = dialog->findChild<QListWidget*>(QStringLiteral("filesList"));
    list->setFocus();
    list->setCurrentRow(0);
    QTest::keyClick(list, Qt::Key_Down);
    QTest::keyClick(list, Qt::Key_Space);
    QCOMPARE(list->item(1)->checkState(), Qt::Unchecked);
    QCOMPARE(dialog->findChild<QLabel*>(QStringLiteral("deleteCountLabel"))->text(),
             QStringLiteral("0 files marked for deletion"));
}

void TestKeyboard::escapeClosesDialogsOnly()
{
    QFETCH(QString, window);
    QWidget* shown = m_windows->open(window);
    QVERIFY(shown != nullptr);
    const bool isDialog = window != QStringLiteral("main");
    if (window == QStringLiteral("settings")) {
        shown->findChild<QLineEdit*>(QStringLiteral("similarityThresh"))
            ->setText(QStringLiteral("3"));
    }
    QTest::keyClick(shown, Qt::Key_Escape);
    QCOMPARE(ProgramWindows::shown(window) == nullptr, isDialog);
    QCOMPARE(settings::similarityThreshold(), 70);
    QVERIFY(ProgramWindows::shown(QStringLiteral("main")) != nullptr);
    for (const QString& file : m_windows->files()) {
        QVERIFY(QFile::exists(file));
    }
}

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
