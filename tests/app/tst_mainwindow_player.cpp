#include "support/previewcontrols.h"
#include "support/windowfixture.h"

#include <QSignalSpy>
#include <QTest>

// The preview's buttons, slider and label, driven by the signals of a player without a backend.

namespace {

constexpr qint64 kMsPerSecond = 1000;
const QString kFirst = QStringLiteral("/music/first.wav");
const QString kSecond = QStringLiteral("/music/second.wav");

void showDuration(const PreviewControls& preview, qint64 seconds)
{
    Q_EMIT preview.player->durationChanged(seconds * kMsPerSecond);
}

void showPosition(const PreviewControls& preview, qint64 seconds)
{
    Q_EMIT preview.player->positionChanged(seconds * kMsPerSecond);
}

void showState(const PreviewControls& preview, QMediaPlayer::PlaybackState state)
{
    Q_EMIT preview.player->playbackStateChanged(state);
}

} // namespace

class TestMainWindowPlayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void withNoFileLoadedPlayChangesNothing();
    void withNoFileLoadedStopAndSliderDoNoHarm();
    void buttonsFollowThePlayersState();
    void aStateThatIsKnownAlreadyChangesNothing();
    void stoppingPutsSliderAndLabelBack();
    void stopButtonLeavesTheLabel();
    void iconsAlwaysHaveTheirSize();
    void playButtonIsNamedAfterWhatAPressDoes();
    void labelShowsPositionAndDuration_data();
    void labelShowsPositionAndDuration();
    void labelTruncatesToWholeSeconds();
    void labelWaitsForTheNextPositionAfterANewDuration();
    void sliderCountsMilliseconds();
    void positionUpdatesDoNotMoveAHeldSlider();
    void aClickBesideTheHandleBringsItToThePointer_data();
    void aClickBesideTheHandleBringsItToThePointer();
    void aPressBesideTheHandleHoldsIt();
    void aPressOnTheHandleDoesNotMoveIt();
    void otherButtonsAndAnEmptySliderMoveNothing();
    void everyCellOfEveryRowLoadsTheRowsFile();
    void enterOnARowLoadsItsFile_data();
    void enterOnARowLoadsItsFile();
    void enterWithoutARowLoadsNothing();
    void enterElsewhereLoadsNothing();
    void holdingEnterLoadsTheFileOnce();
    void filesWithStrangeNamesAreLoaded_data();
    void filesWithStrangeNamesAreLoaded();
    void aPathIsNeverTakenForAWebPage();
    void aFileThatCannotBePlayedShowsNoTime();
    void aFileThatCannotBePlayedDoesNotShowTheTimeOfTheLastOne_data();
    void aFileThatCannotBePlayedDoesNotShowTheTimeOfTheLastOne();

private:
    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<PreviewControls> preview;
};

void TestMainWindowPlayer::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    preview = std::make_unique<PreviewControls>(*fixture);
}

void TestMainWindowPlayer::cleanup()
{
    preview.reset();
    fixture.reset();
}

void TestMainWindowPlayer::withNoFileLoadedPlayChangesNothing()
{
    const qint64 icon = preview->playButton->icon().cacheKey();
    QVERIFY(preview->hasButtons("play", false));
    for (int press = 0; press < 2; ++press) {
        QVERIFY(fixture->click("playButton"));
        QCOMPARE(preview->playButton->icon().cacheKey(), icon);
        QVERIFY(preview->hasButtons("play", false));
        QVERIFY(!preview->label->isVisible());
        QCOMPARE(preview->slider->value(), 0);
        QCOMPARE(preview->slider->maximum(), 0);
        QCOMPARE(preview->player->playbackState(), QMediaPlayer::StoppedState);
    }
}

void TestMainWindowPlayer::withNoFileLoadedStopAndSliderDoNoHarm()
{
    QVERIFY(!fixture->click("stopButton"));
    fixture->window().on_stopButton_clicked();
    fixture->window().on_audioSlider_sliderMoved(1234);
    QVERIFY(preview->hasButtons("play", false));
    QCOMPARE(preview->slider->value(), 0);
}

void TestMainWindowPlayer::buttonsFollowThePlayersState()
{
    const qint64 playIcon = preview->playButton->icon().cacheKey();
    showState(*preview, QMediaPlayer::PlayingState);
    QVERIFY(preview->hasButtons("pause", true));
    showState(*preview, QMediaPlayer::PausedState);
    QVERIFY(preview->hasButtons("play", true));
    // It is the very icon from before, not another one that looks like it.
    QCOMPARE(preview->playButton->icon().cacheKey(), playIcon);
    showState(*preview, QMediaPlayer::PlayingState);
    QVERIFY(preview->hasButtons("pause", true));
    showState(*preview, QMediaPlayer::StoppedState);
    QVERIFY(preview->hasButtons("play", false));
    showState(*preview, QMediaPlayer::PausedState);
    QVERIFY(preview->hasButtons("play", true));
}

void TestMainWindowPlayer::aStateThatIsKnownAlreadyChangesNothing()
{
    for (const auto state : {QMediaPlayer::PlayingState, QMediaPlayer::PausedState}) {
        showState(*preview, state);
        preview->stopButton->setEnabled(false);
        preview->playButton->setIcon(QIcon());
        showState(*preview, state);
        QVERIFY(!preview->stopButton->isEnabled());
        QVERIFY(preview->playButton->icon().isNull());
    }
    showState(*preview, QMediaPlayer::StoppedState);
    showDuration(*preview, 185);
    showPosition(*preview, 62);
    showState(*preview, QMediaPlayer::StoppedState);
    QCOMPARE(preview->slider->value(), 62000);
    QCOMPARE(preview->label->text(), QStringLiteral("01:02 / 03:05"));
}

void TestMainWindowPlayer::stoppingPutsSliderAndLabelBack()
{
    showState(*preview, QMediaPlayer::PlayingState);
    showDuration(*preview, 185);
    showPosition(*preview, 62);
    showState(*preview, QMediaPlayer::StoppedState);
    QCOMPARE(preview->slider->value(), 0);
    QCOMPARE(preview->slider->maximum(), 185000);
    QCOMPARE(preview->label->text(), QStringLiteral("00:00 / 03:05"));
}

void TestMainWindowPlayer::stopButtonLeavesTheLabel()
{
    showState(*preview, QMediaPlayer::PlayingState);
    showDuration(*preview, 185);
    showPosition(*preview, 62);
    QVERIFY(fixture->click("stopButton"));
    QVERIFY(preview->hasButtons("play", false));
    QCOMPARE(preview->slider->value(), 0);
    QCOMPARE(preview->label->text(), QStringLiteral("01:02 / 03:05"));
    // The player's own notice of it comes later and finds nothing left to do.
    showState(*preview, QMediaPlayer::StoppedState);
    QCOMPARE(preview->label->text(), QStringLiteral("01:02 / 03:05"));
}

void TestMainWindowPlayer::iconsAlwaysHaveTheirSize()
{
    const QSize size(22, 22);
    QCOMPARE(preview->playButton->iconSize(), size);
    for (const auto state : {QMediaPlayer::PlayingState, QMediaPlayer::PausedState,
                             QMediaPlayer::PlayingState, QMediaPlayer::StoppedState}) {
        preview->playButton->setIconSize(QSize(7, 7));
        showState(*preview, state);
        QCOMPARE(preview->playButton->iconSize(), size);
    }
    preview->playButton->setIconSize(QSize(7, 7));
    fixture->window().on_stopButton_clicked();
    QCOMPARE(preview->playButton->iconSize(), size);
    preview->playButton->setIconSize(QSize(7, 7));
    fixture->window().resetAll();
    QCOMPARE(preview->playButton->iconSize(), size);
}

void TestMainWindowPlayer::playButtonIsNamedAfterWhatAPressDoes()
{
    const auto names = [this] {
        return QStringList{preview->playButton->accessibleName(), preview->playButton->toolTip()};
    };
    const QStringList play{QStringLiteral("Play"), QStringLiteral("Play the preview")};
    const QStringList pause{QStringLiteral("Pause"), QStringLiteral("Pause the preview")};
    QCOMPARE(names(), play);
    showState(*preview, QMediaPlayer::PlayingState);
    QCOMPARE(names(), pause);
    showState(*preview, QMediaPlayer::PausedState);
    QCOMPARE(names(), play);
    showState(*preview, QMediaPlayer::PlayingState);
    fixture->window().on_stopButton_clicked();
    QCOMPARE(names(), play);
}

void TestMainWindowPlayer::labelShowsPositionAndDuration_data()
{
    QTest::addColumn<qint64>("duration");
    QTest::addColumn<qint64>("position");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, qint64 duration, qint64 position, const char* text) {
        QTest::newRow(name) << duration << position << QString::fromLatin1(text);
    };
    constexpr qint64 hour = 3600;
    row("nothing loaded", 0, 0, "");
    row("no duration yet", 0, 5, "00:05 / 00:00");
    row("at the start", 185, 0, "00:00 / 03:05");
    row("3 min 5 s at 62 s", 185, 62, "01:02 / 03:05");
    row("59 min 59 s", hour - 1, 61, "01:01 / 59:59");
    row("an hour is not part of the format", hour, 0, "00:00 / 00:00");
    row("an hour at its end", hour, hour, "00:00 / 00:00");
    row("a second more than an hour", hour + 1, 62, "00:01:02 / 01:00:01");
    row("two hours and a half", 9000, 5025, "01:23:45 / 02:30:00");
    row("a second less than a day", 24 * hour - 1, hour, "01:00:00 / 23:59:59");
    row("a day is no time of day", 24 * hour, 62, "00:01:02 / ");
    row("25 hours at 24 hours and a half", 25 * hour, 24 * hour + 1800, " / ");
    row("hours start over at 60", 60 * hour + 62, 61 * hour, "01:00:00 / 00:01:02");
}

void TestMainWindowPlayer::labelShowsPositionAndDuration()
{
    QFETCH(qint64, duration);
    QFETCH(qint64, position);
    showDuration(*preview, duration);
    showPosition(*preview, position);
    QTEST(preview->label->text(), "text");
}

void TestMainWindowPlayer::labelTruncatesToWholeSeconds()
{
    Q_EMIT preview->player->durationChanged(3999);
    Q_EMIT preview->player->positionChanged(2999);
    QCOMPARE(preview->label->text(), QStringLiteral("00:02 / 00:03"));
    // Less than a second is the same as nothing.
    Q_EMIT preview->player->durationChanged(999);
    Q_EMIT preview->player->positionChanged(999);
    QCOMPARE(preview->label->text(), QString());
}

void TestMainWindowPlayer::labelWaitsForTheNextPositionAfterANewDuration()
{
    showDuration(*preview, 185);
    showPosition(*preview, 62);
    showDuration(*preview, 90);
    QCOMPARE(preview->label->text(), QStringLiteral("01:02 / 03:05"));
    showPosition(*preview, 63);
    QCOMPARE(preview->label->text(), QStringLiteral("01:03 / 01:30"));
}

void TestMainWindowPlayer::sliderCountsMilliseconds()
{
    Q_EMIT preview->player->durationChanged(185432);
    QCOMPARE(preview->slider->minimum(), 0);
    QCOMPARE(preview->slider->maximum(), 185432);
    QCOMPARE(preview->slider->value(), 0);
    Q_EMIT preview->player->positionChanged(62789);
    QCOMPARE(preview->slider->value(), 62789);
    Q_EMIT preview->player->durationChanged(0);
    QCOMPARE(preview->slider->maximum(), 0);
}

void TestMainWindowPlayer::positionUpdatesDoNotMoveAHeldSlider()
{
    showDuration(*preview, 185);
    showPosition(*preview, 62);
    QVERIFY(preview->takeHandle());
    showPosition(*preview, 100);
    QCOMPARE(preview->slider->value(), 62000);
    QCOMPARE(preview->label->text(), QStringLiteral("01:40 / 03:05"));
    preview->drawHandleTo(0.1);
    const int drawnTo = preview->slider->value();
    QVERIFY(drawnTo < 62000);
    showPosition(*preview, 101);
    QCOMPARE(preview->slider->value(), drawnTo);
    preview->releaseHandle();
    QCOMPARE(preview->slider->value(), drawnTo);
    showPosition(*preview, 102);
    QCOMPARE(preview->slider->value(), 102000);
}

void TestMainWindowPlayer::aClickBesideTheHandleBringsItToThePointer_data()
{
    QTest::addColumn<Qt::LayoutDirection>("direction");
    QTest::newRow("left to right") << Qt::LeftToRight;
    QTest::newRow("right to left") << Qt::RightToLeft;
}

void TestMainWindowPlayer::aClickBesideTheHandleBringsItToThePointer()
{
    QFETCH(const Qt::LayoutDirection, direction);
    preview->slider->setLayoutDirection(direction);
    constexpr qint64 duration = 3600;
    showDuration(*preview, duration);
    showPosition(*preview, 10);
    // A page is 30 seconds, so that a step of one ends far from the pointer.
    for (const double fraction : {0.9, 0.2, 0.5, 0.21}) {
        preview->clickSlider(fraction);
        const double pixel = 1.0 / preview->slider->width();
        QVERIFY2(qAbs(preview->handleAt() - fraction) <= 2 * pixel,
                 qPrintable(QString::number(preview->handleAt())));
        QVERIFY(!preview->slider->isSliderDown());
    }
    const bool mirrored = direction == Qt::RightToLeft;
    preview->clickSlider(0.0);
    QCOMPARE(preview->slider->value(), mirrored ? duration * kMsPerSecond : 0);
    preview->clickSlider(0.999);
    QCOMPARE(preview->slider->value(), mirrored ? 0 : duration * kMsPerSecond);
}

void TestMainWindowPlayer::aPressBesideTheHandleHoldsIt()
{
    showDuration(*preview, 3600);
    const QPoint place(preview->slider->width() / 2, preview->slider->height() / 2);
    QTest::mousePress(preview->slider, Qt::LeftButton, {}, place);
    QVERIFY(preview->slider->isSliderDown());
    const int pressedAt = preview->slider->value();
    showPosition(*preview, 10);
    QCOMPARE(preview->slider->value(), pressedAt);
    const QSignalSpy moves(preview->slider, &QSlider::sliderMoved);
    QTest::mouseMove(preview->slider, place + QPoint(50, 0));
    QVERIFY(preview->slider->value() > pressedAt);
    QCOMPARE(moves.count(), 1);
    QTest::mouseRelease(preview->slider, Qt::LeftButton, {}, place + QPoint(50, 0));
    QVERIFY(!preview->slider->isSliderDown());
}

void TestMainWindowPlayer::aPressOnTheHandleDoesNotMoveIt()
{
    // Lies between the values of two pixels.
    Q_EMIT preview->player->durationChanged(3600001);
    Q_EMIT preview->player->positionChanged(1234567);
    const QSignalSpy actions(preview->slider, &QSlider::actionTriggered);
    QVERIFY(preview->takeHandle());
    preview->releaseHandle();
    QCOMPARE(preview->slider->value(), 1234567);
    QVERIFY(actions.isEmpty());
}

void TestMainWindowPlayer::otherButtonsAndAnEmptySliderMoveNothing()
{
    preview->clickSlider(0.5);
    QCOMPARE(preview->slider->value(), 0);
    showDuration(*preview, 3600);
    QTest::mouseClick(preview->slider, Qt::RightButton, {}, preview->slider->rect().center());
    QCOMPARE(preview->slider->value(), 0);
    preview->slider->setEnabled(false);
    preview->clickSlider(0.5);
    QCOMPARE(preview->slider->value(), 0);
}

void TestMainWindowPlayer::everyCellOfEveryRowLoadsTheRowsFile()
{
    QTreeWidgetItem* reference = preview->list(kFirst, {kSecond});
    for (int column = 0; column < preview->tree->columnCount(); ++column) {
        preview->doubleClick(reference, column);
        QCOMPARE(preview->loadedPath(), kFirst);
        preview->doubleClick(reference->child(0), column);
        QCOMPARE(preview->loadedPath(), kSecond);
        QVERIFY(preview->label->isVisible());
    }
    QVERIFY(reference->isExpanded());
}

void TestMainWindowPlayer::enterOnARowLoadsItsFile_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("beside the letters") << Qt::Key_Return;
    QTest::newRow("of the number pad") << Qt::Key_Enter;
}

void TestMainWindowPlayer::enterOnARowLoadsItsFile()
{
    QFETCH(Qt::Key, key);
    QTreeWidgetItem* reference = preview->list(kFirst, {kSecond});
    preview->tree->setFocus();
    preview->tree->setCurrentItem(reference);
    QTest::keyClick(preview->tree, Qt::Key_Down);
    QTest::keyClick(preview->tree, key);
    QCOMPARE(preview->loadedPath(), kSecond);
    QVERIFY(preview->label->isVisible());
    QTest::keyClick(preview->tree, Qt::Key_Up);
    QTest::keyClick(preview->tree, key);
    QCOMPARE(preview->loadedPath(), kFirst);
}

void TestMainWindowPlayer::enterWithoutARowLoadsNothing()
{
    preview->tree->setFocus();
    QTest::keyClick(preview->tree, Qt::Key_Return);
    QCOMPARE(preview->loadedPath(), QString());
    QVERIFY(!preview->label->isVisible());
}

void TestMainWindowPlayer::enterElsewhereLoadsNothing()
{
    preview->tree->setCurrentItem(preview->list(kFirst));
    for (const char* name : {"folderListGroupA", "audioSlider", "comparisonModeSelector"}) {
        auto* widget = fixture->find<QWidget>(name);
        widget->setFocus();
        QTest::keyClick(widget, Qt::Key_Return);
        QCOMPARE(preview->loadedPath(), QString());
    }
}

void TestMainWindowPlayer::holdingEnterLoadsTheFileOnce()
{
    preview->tree->setFocus();
    preview->tree->setCurrentItem(preview->list(kFirst));
    const QSignalSpy sources(preview->player, &QMediaPlayer::sourceChanged);
    QTest::keyPress(preview->tree, Qt::Key_Return);
    QCOMPARE(sources.count(), 1);
    for (int repeat = 0; repeat < 3; ++repeat) {
        QTest::simulateEvent(preview->tree, true, Qt::Key_Return, {}, QStringLiteral("\r"), true);
    }
    QTest::keyRelease(preview->tree, Qt::Key_Return);
    QCOMPARE(sources.count(), 1);
}

void TestMainWindowPlayer::filesWithStrangeNamesAreLoaded_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("percent") << QStringLiteral("100%20 love.wav");
    QTest::newRow("hash and question mark") << QStringLiteral("#1?.wav");
    QTest::newRow("spaces around the name") << QStringLiteral(" a b .wav");
    QTest::newRow("line break") << QStringLiteral("a\nb.wav");
    QTest::newRow("other alphabets") << QStringLiteral("Füße и ноги 足.wav");
    QTest::newRow("like a web page") << QStringLiteral("http:/nowhere.example/a.wav");
}

void TestMainWindowPlayer::filesWithStrangeNamesAreLoaded()
{
    QFETCH(QString, name);
    const QString path = QStringLiteral("/music/") + name;
    preview->doubleClick(preview->list(path));
    QCOMPARE(preview->loadedPath(), path);
}

void TestMainWindowPlayer::aPathIsNeverTakenForAWebPage()
{
    preview->doubleClick(preview->list(QStringLiteral("http://nowhere.example/a.wav")));
    QVERIFY(preview->player->source().isLocalFile());
}

void TestMainWindowPlayer::aFileThatCannotBePlayedShowsNoTime()
{
    preview->doubleClick(preview->list(kFirst));
    preview->player->refuse();
    QVERIFY(preview->label->isVisible());
    QCOMPARE(preview->label->text(), QString());
}

void TestMainWindowPlayer::aFileThatCannotBePlayedDoesNotShowTheTimeOfTheLastOne_data()
{
    QTest::addColumn<bool>("quiet");
    QTest::newRow("the player reports that the duration is gone") << false;
    QTest::newRow("the player reports nothing of it") << true;
}

void TestMainWindowPlayer::aFileThatCannotBePlayedDoesNotShowTheTimeOfTheLastOne()
{
    QFETCH(const bool, quiet);
    if (quiet) {
        preview->player->keepQuietOnUnloading();
    }
    preview->doubleClick(preview->list(kFirst));
    preview->player->load(3 * kMsPerSecond);
    showPosition(*preview, 2);
    QCOMPARE(preview->label->text(), QStringLiteral("00:02 / 00:03"));
    preview->doubleClick(preview->list(kSecond));
    preview->player->refuse();
    QCOMPARE(preview->label->text(), QString());
    QCOMPARE(preview->slider->maximum(), 0);
}

QTEST_MAIN(TestMainWindowPlayer)
#include "tst_mainwindow_player.moc"
