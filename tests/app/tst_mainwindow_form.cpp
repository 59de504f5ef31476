#include "settings/settingsstore.h"
#include "support/windowfixture.h"

#include <QAction>
#include <QComboBox>
#include <QFrame>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QStatusBar>
#include <QTest>
#include <QTreeWidget>

namespace {

/** The texts of a menu's actions, top to bottom. */
QStringList texts(const QList<QAction*>& actions)
{
    QStringList result;
    for (const QAction* action : actions) {
        result.append(action->text());
    }
    return result;
}

} // namespace

class TestMainWindowForm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void slotsAreInTheirOrder();
    void titleAndSize();
    void firstStartStoresTheDefaultsBeforeTheWindowIsShown();
    void existingSettingsAreNotOverwritten();
    void atStartTheStopButtonIsOffAndLabelsAreHidden();
    void buttonsCarryTheirTextsAndIcons_data();
    void buttonsCarryTheirTextsAndIcons();
    void menusHoldTheirActionsInOrder();
    void actionsCarryTheirIcons();
    void modesAreInTheirOrder();
    void treeHasItsColumnsAndHeader();
    void widgetsAreInTheirOrderDownTheWindow();
    void everyIconOfTheCollectionCanBeRead();
    void findButtonHasItsFixedSize();
    void sliderMovesAndPositionsAreDoublyConnected();
    void everyControlCanBeReachedByKeyboardAndHasAName();
    void closingTheWindowKeepsItAlive();

private:
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowForm::init()
{
    fixture = std::make_unique<WindowFixture>();
}

void TestMainWindowForm::cleanup()
{
    fixture.reset();
}

void TestMainWindowForm::slotsAreInTheirOrder()
{
    const QList<QByteArray> expected{
        "newComparison()",
        "changeSettings()",
        "helpOnline()",
        "contact()",
        "about()",
        "on_addFolderButtonGroupA_clicked()",
        "on_removeFolderButtonGroupA_clicked()",
        "on_addFolderButtonGroupB_clicked()",
        "on_removeFolderButtonGroupB_clicked()",
        "calculateFingerprintParallel()",
        "compareAudioParallel()",
        "showComparisonResults()",
        "compareValueChanged(int)",
        "fpValueChanged(int)",
        "on_playButton_clicked()",
        "on_stopButton_clicked()",
        "on_audioSlider_sliderMoved(int)",
        "positionChanged(qlonglong)",
        "durationChanged(qlonglong)",
        "setState(QMediaPlayer::PlaybackState)",
        "on_treeWidget_itemDoubleClicked(QTreeWidgetItem*,int)",
        "on_compareButton_clicked()",
        "noDuplicateFilesFound()",
        "on_deleteFilesButtonMainwindow_clicked()",
        "deleteDialogFinished(int)",
        "on_moveFilesButtonMainwindow_clicked()",
        "on_copyFilesButtonMainwindow_clicked()",
        "on_comparisonModeSelector_currentIndexChanged(int)",
        "settingsDialogFinished(int)",
        "aboutDialogFinished(int)",
    };
    const QMetaObject& meta = MainWindow::staticMetaObject;
    QList<QByteArray> actual;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        actual.append(meta.method(i).methodSignature());
    }
    QCOMPARE(actual, expected);
}

void TestMainWindowForm::titleAndSize()
{
    fixture->open();
    QCOMPARE(fixture->window().objectName(), QStringLiteral("MainWindow"));
    QCOMPARE(fixture->window().windowTitle(), QStringLiteral("Quorvel"));
    QCOMPARE(fixture->window().size(), QSize(889, 666));
    QCOMPARE(fixture->window().iconSize(), QSize(32, 32));
    QVERIFY(!fixture->window().windowIcon().isNull());
}

void TestMainWindowForm::firstStartStoresTheDefaultsBeforeTheWindowIsShown()
{
    QVERIFY(!settings::hasSimilarityThreshold());
    const MainWindow window;
    QCOMPARE(settings::similarityThreshold(), 70);
    QCOMPARE(settings::multicoreEnabled(), true);
}

void TestMainWindowForm::existingSettingsAreNotOverwritten()
{
    settings::write({33, false});
    const MainWindow window;
    QCOMPARE(settings::similarityThreshold(), 33);
    QCOMPARE(settings::multicoreEnabled(), false);
}

void TestMainWindowForm::atStartTheStopButtonIsOffAndLabelsAreHidden()
{
    fixture->open();
    QVERIFY(!fixture->find<QPushButton>("stopButton")->isEnabled());
    QVERIFY(fixture->find<QPushButton>("playButton")->isEnabled());
    QVERIFY(!fixture->find<QLabel>("audioDurationLabel")->isVisible());
    QVERIFY(!fixture->find<QLabel>("duplicateFoundLabel")->isVisible());
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QCOMPARE(fixture->find<QSlider>("audioSlider")->minimum(), 0);
    QCOMPARE(fixture->find<QSlider>("audioSlider")->maximum(), 0);
    QCOMPARE(fixture->find<QSlider>("audioSlider")->orientation(), Qt::Horizontal);
    QCOMPARE(fixture->find<QPushButton>("playButton")->iconSize(), QSize(22, 22));
}

void TestMainWindowForm::buttonsCarryTheirTextsAndIcons_data()
{
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, const char* text) {
        QTest::newRow(name) << QString::fromLatin1(text);
    };
    row("addFolderButtonGroupA", "...");
    row("removeFolderButtonGroupA", "...");
    row("addFolderButtonGroupB", "...");
    row("removeFolderButtonGroupB", "...");
    row("compareButton", "Find duplicates");
    row("stopButton", "...");
    row("playButton", "...");
    row("deleteFilesButtonMainwindow", "Delete");
    row("moveFilesButtonMainwindow", "Move");
    row("copyFilesButtonMainwindow", "Copy");
}

void TestMainWindowForm::buttonsCarryTheirTextsAndIcons()
{
    QFETCH(QString, text);
    fixture->open();
    const auto* button = fixture->find<QPushButton>(QTest::currentDataTag());
    QCOMPARE(button->text(), text);
    QVERIFY(!button->icon().pixmap(16).isNull());
    QVERIFY(button->isVisible());
}

void TestMainWindowForm::menusHoldTheirActionsInOrder()
{
    fixture->open();
    QCOMPARE(
        texts(fixture->find<QMenuBar>("menubar")->actions()),
        (QStringList{QStringLiteral("File"), QStringLiteral("About"), QStringLiteral("Help")}));
    QCOMPARE(texts(fixture->find<QMenu>("menuCompare_Audio")->actions()),
             (QStringList{QStringLiteral("New comparison"), QStringLiteral("Settings"),
                          QStringLiteral("Exit")}));
    QCOMPARE(texts(fixture->find<QMenu>("menuAbout")->actions()),
             QStringList{QStringLiteral("Quorvel")});
    QCOMPARE(texts(fixture->find<QMenu>("menuHelp")->actions()),
             (QStringList{QStringLiteral("Help (online)"), QStringLiteral("Contact")}));
}

void TestMainWindowForm::actionsCarryTheirIcons()
{
    fixture->open();
    for (const char* name :
         {"actionNew_Comparison", "actionSettings", "actionExit", "actionHelp_Online"}) {
        QVERIFY2(!fixture->find<QAction>(name)->icon().isNull(), name);
    }
    QVERIFY(fixture->find<QAction>("actionAbout")->icon().isNull());
    QVERIFY(fixture->find<QAction>("actionContact")->icon().isNull());
}

void TestMainWindowForm::modesAreInTheirOrder()
{
    fixture->open();
    const auto* selector = fixture->find<QComboBox>("comparisonModeSelector");
    QCOMPARE(selector->count(), 2);
    QCOMPARE(selector->itemText(0), QStringLiteral("Between groups"));
    QCOMPARE(selector->itemText(1), QStringLiteral("Within group"));
    QCOMPARE(selector->currentIndex(), 0);
    QCOMPARE(fixture->find<QLabel>("label")->text(), QStringLiteral("Mode:"));
    QCOMPARE(fixture->find<QLabel>("label_A")->text(), QStringLiteral("Group A"));
    QCOMPARE(fixture->find<QLabel>("label_B")->text(), QStringLiteral("Group B"));
}

void TestMainWindowForm::treeHasItsColumnsAndHeader()
{
    fixture->open();
    const auto* tree = fixture->find<QTreeWidget>("treeWidget");
    QStringList headers;
    for (int column = 0; column < tree->columnCount(); ++column) {
        headers.append(tree->headerItem()->text(column));
    }
    QCOMPARE(headers,
             (QStringList{QStringLiteral("Name"), QStringLiteral("Similarity"),
                          QStringLiteral("Duration (hh:mm:ss)"), QStringLiteral("Sample rate (Hz)"),
                          QStringLiteral("Channels")}));
    QCOMPARE(tree->header()->sectionSize(0), 400);
    QVERIFY(tree->header()->stretchLastSection());
    QVERIFY(!tree->header()->cascadingSectionResizes());
    QVERIFY(!tree->expandsOnDoubleClick());
    QVERIFY(!tree->isSortingEnabled());
    for (int column = 1; column < tree->columnCount(); ++column) {
        QVERIFY2(tree->header()->sectionSizeHint(column) <= tree->header()->sectionSize(column),
                 qPrintable(headers.at(column)));
    }
}

void TestMainWindowForm::widgetsAreInTheirOrderDownTheWindow()
{
    fixture->open();
    const auto top = [this](const char* name) {
        const auto* widget = fixture->find<QWidget>(name);
        return widget->mapTo(&fixture->window(), QPoint(0, 0)).y();
    };
    const QList<const char*> downwards{"menubar",
                                       "comparisonModeSelector",
                                       "addFolderButtonGroupA",
                                       "folderListGroupA",
                                       "compareButton",
                                       "audioSlider",
                                       "treeWidget",
                                       "moveFilesButtonMainwindow",
                                       "statusbar"};
    for (qsizetype i = 1; i < downwards.size(); ++i) {
        QVERIFY2(top(downwards.at(i - 1)) < top(downwards.at(i)), downwards.at(i));
    }
    QCOMPARE(fixture->find<QFrame>("frame")->frameShape(), QFrame::StyledPanel);
    QCOMPARE(fixture->find<QFrame>("frame")->frameShadow(), QFrame::Raised);
    const auto left = [this](const char* name) {
        const auto* widget = fixture->find<QWidget>(name);
        return widget->mapTo(&fixture->window(), QPoint(0, 0)).x();
    };
    QVERIFY(left("folderListParentA") < left("folderListParentB"));
    QVERIFY(left("stopButton") < left("playButton"));
    QVERIFY(left("deleteFilesButtonMainwindow") < left("moveFilesButtonMainwindow"));
    QVERIFY(left("moveFilesButtonMainwindow") < left("copyFilesButtonMainwindow"));
}

void TestMainWindowForm::everyIconOfTheCollectionCanBeRead()
{
    fixture->open();
    const char* const names[] = {
        "app-icon",        "app-window-icon", "close",        "copy",     "delete",
        "find-duplicates", "folder-add",      "folder-minus", "help",     "move",
        "new-comparison",  "pause",           "play",         "settings", "stop"};
    for (const char* name : names) {
        const QPixmap icon(QStringLiteral(":/icons/%1.png").arg(QLatin1String(name)));
        QVERIFY2(!icon.isNull(), name);
    }
}

void TestMainWindowForm::findButtonHasItsFixedSize()
{
    fixture->open();
    QCOMPARE(fixture->find<QPushButton>("compareButton")->size(), QSize(128, 32));
    fixture->window().resize(1400, 900);
    QCOMPARE(fixture->find<QPushButton>("compareButton")->size(), QSize(128, 32));
}

void TestMainWindowForm::sliderMovesAndPositionsAreDoublyConnected()
{
    // A second connection of the same kind would be refused if it were asked to be unique; counting
    // what disconnects tells how many there are.
    fixture->open();
    auto* slider = fixture->find<QSlider>("audioSlider");
    auto* player = fixture->find<QMediaPlayer>("");
    QVERIFY(QObject::disconnect(slider, &QSlider::sliderMoved, &fixture->window(),
                                &MainWindow::on_audioSlider_sliderMoved));
    QVERIFY(QObject::disconnect(slider, SIGNAL(sliderMoved(int)), &fixture->window(),
                                SLOT(on_audioSlider_sliderMoved(int))));
    QVERIFY(QObject::disconnect(player, SIGNAL(positionChanged(qint64)), &fixture->window(),
                                SLOT(positionChanged(qint64))));
    QVERIFY(QObject::disconnect(player, &QMediaPlayer::positionChanged, &fixture->window(),
                                &MainWindow::positionChanged));
}

void TestMainWindowForm::everyControlCanBeReachedByKeyboardAndHasAName()
{
    fixture->open();
    for (const char* name :
         {"comparisonModeSelector", "addFolderButtonGroupA", "removeFolderButtonGroupA",
          "folderListGroupA", "addFolderButtonGroupB", "removeFolderButtonGroupB",
          "folderListGroupB", "compareButton", "playButton", "audioSlider", "treeWidget",
          "deleteFilesButtonMainwindow", "moveFilesButtonMainwindow",
          "copyFilesButtonMainwindow"}) {
        const auto* widget = fixture->find<QWidget>(name);
        QVERIFY2(widget->focusPolicy() & Qt::TabFocus, name);
        const auto* button = qobject_cast<const QPushButton*>(widget);
        const bool hasWords = button != nullptr && button->text() != QStringLiteral("...");
        QVERIFY2(hasWords || !widget->accessibleName().isEmpty(), name);
    }
}

void TestMainWindowForm::closingTheWindowKeepsItAlive()
{
    fixture->open();
    QVERIFY(fixture->window().close());
    QVERIFY(!fixture->window().isVisible());
}

QTEST_MAIN(TestMainWindowForm)
#include "tst_mainwindow_form.moc"
