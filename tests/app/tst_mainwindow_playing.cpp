#include "support/previewcontrols.h"
#include "support/windowfixture.h"

#include <QSignalSpy>
#include <QTest>

// What the window has its player do while a file plays, over a player without a backend.
// scripts/check-playback tries the same with Qt's backend.

namespace {

constexpr qint64 kHourMs = 3'600'000;
constexpr qint64 kMinuteMs = 60'000;
constexpr qint64 kSecondMs = 1000;
const QString kFirst = QStringLiteral("/music/first.flac");
const QString kSecond = QStringLiteral("/music/second.flac");

} // namespace

class TestMainWindowPlaying : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void pressingPlayManyTimesKeepsIconAndPlayerTogether();
    void anotherRowReplacesAPausedFile();
    void aStoppedFileStaysLoadedAndStartsOver();
    void aFileThatWasHeardIsNotStartedAgainAtItsEnd();
    void aFileThatEndsUnheardIsStartedUpToTenTimesMore();
    void noFileIsStartedAgainAfterItsButtons_data();
    void noFileIsStartedAgainAfterItsButtons();
    void aDrawnHandleSeeksAtOnceAndHoldsItsPlace();
    void aHandleDrawnWhileStoppedDecidesTheStart();
    void arrowKeysSeekFiveSeconds();
    void theWheelSeeks();
    void aClickBesideTheHandleSeeksThere();
    void aPositionOfThePlayerSeeksNothing();
    void closingTheWindowLeavesItPlaying();
    void aDestroyedWindowHearsNothingOfItsPlayer();
    void aResetUnloadsTheFile_data();
    void aResetUnloadsTheFile();

private:
    QMediaPlayer& player() const
    {
        return *preview->player;
    }
    /** Plays kFirst, of an hour, at a minute. */
    void playHour() const;

    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<PreviewControls> preview;
};

void TestMainWindowPlaying::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    preview = std::make_unique<PreviewControls>(*fixture);
}

void TestMainWindowPlaying::cleanup()
{
    preview.reset();
    fixture.reset();
}

void TestMainWindowPlaying::playHour() const
{
    preview->doubleClick(preview->list(kFirst));
    player().load(kHourMs);
    player().setPosition(kMinuteMs);
    QCOMPARE(player().playbackState(), QMediaPlayer::PlayingState);
    QCOMPARE(player().startCount(), 1);
    QCOMPARE(preview->slider->value(), int{kMinuteMs});
}

void TestMainWindowPlaying::pressingPlayManyTimesKeepsIconAndPlayerTogether()
{
    playHour();
    for (int press = 1; press <= 21; ++press) {
        QVERIFY(fixture->click("playButton"));
        const bool paused = press % 2 == 1;
        QCOMPARE(player().playbackState(),
                 paused ? QMediaPlayer::PausedState : QMediaPlayer::PlayingState);
        QVERIFY(preview->hasButtons(paused ? "play" : "pause", true));
        QCOMPARE(player().position(), kMinuteMs);
    }
}

void TestMainWindowPlaying::anotherRowReplacesAPausedFile()
{
    playHour();
    QVERIFY(fixture->click("playButton"));
    preview->doubleClick(preview->list(kSecond));
    QCOMPARE(preview->loadedPath(), kSecond);
    QCOMPARE(player().playbackState(), QMediaPlayer::PlayingState);
    QCOMPARE(player().position(), 0);
    QVERIFY(preview->hasButtons("pause", true));
}

void TestMainWindowPlaying::aStoppedFileStaysLoadedAndStartsOver()
{
    playHour();
    QVERIFY(fixture->click("stopButton"));
    QCOMPARE(player().playbackState(), QMediaPlayer::StoppedState);
    QCOMPARE(preview->loadedPath(), kFirst);
    QVERIFY(fixture->click("playButton"));
    QCOMPARE(player().playbackState(), QMediaPlayer::PlayingState);
    QCOMPARE(player().position(), 0);
    QVERIFY(preview->hasButtons("pause", true));
}

void TestMainWindowPlaying::aFileThatWasHeardIsNotStartedAgainAtItsEnd()
{
    playHour();
    player().end();
    QCOMPARE(player().startCount(), 1);
    QVERIFY(preview->hasButtons("play", false));
    QCOMPARE(preview->slider->value(), 0);
    QVERIFY(fixture->click("playButton"));
    QCOMPARE(player().startCount(), 2);
    QVERIFY(preview->hasButtons("pause", true));
}

void TestMainWindowPlaying::aFileThatEndsUnheardIsStartedUpToTenTimesMore()
{
    preview->doubleClick(preview->list(kFirst));
    player().load(kHourMs);
    for (int end = 1; end <= 10; ++end) {
        player().end();
        QCOMPARE(player().startCount(), end + 1);
        QCOMPARE(player().playbackState(), QMediaPlayer::PlayingState);
    }
    player().end();
    QCOMPARE(player().startCount(), 11);
    QCOMPARE(player().playbackState(), QMediaPlayer::StoppedState);
    QVERIFY(preview->hasButtons("play", false));
}

void TestMainWindowPlaying::noFileIsStartedAgainAfterItsButtons_data()
{
    QTest::addColumn<QString>("button");
    QTest::newRow("play") << QStringLiteral("playButton");
    QTest::newRow("stop") << QStringLiteral("stopButton");
}

void TestMainWindowPlaying::noFileIsStartedAgainAfterItsButtons()
{
    QFETCH(const QString, button);
    preview->doubleClick(preview->list(kFirst));
    player().load(kHourMs);
    QVERIFY(fixture->click(qPrintable(button)));
    player().end();
    QCOMPARE(player().startCount(), 1);
    QCOMPARE(player().playbackState(), QMediaPlayer::StoppedState);
}

void TestMainWindowPlaying::aDrawnHandleSeeksAtOnceAndHoldsItsPlace()
{
    playHour();
    QVERIFY(preview->takeHandle());
    preview->drawHandleTo(0.6);
    const int target = preview->slider->value();
    QVERIFY(target > kHourMs / 2 && target < kHourMs * 7 / 10);
    QCOMPARE(player().position(), target);
    player().setPosition(target + kMinuteMs);
    QCOMPARE(preview->slider->value(), target);
    preview->releaseHandle();
    player().setPosition(target + 2 * kMinuteMs);
    QCOMPARE(preview->slider->value(), target + int{2 * kMinuteMs});
}

void TestMainWindowPlaying::aHandleDrawnWhileStoppedDecidesTheStart()
{
    playHour();
    QVERIFY(fixture->click("stopButton"));
    QVERIFY(preview->takeHandle());
    preview->drawHandleTo(0.5);
    const int target = preview->slider->value();
    preview->releaseHandle();
    QVERIFY(target > kHourMs * 4 / 10);
    QVERIFY(preview->hasButtons("play", false));
    QVERIFY(fixture->click("playButton"));
    QCOMPARE(player().position(), target);
    QVERIFY(preview->hasButtons("pause", true));
}

void TestMainWindowPlaying::arrowKeysSeekFiveSeconds()
{
    playHour();
    QTest::keyClick(preview->slider, Qt::Key_Right);
    QCOMPARE(player().position(), kMinuteMs + 5 * kSecondMs);
    QTest::keyClick(preview->slider, Qt::Key_Left);
    QTest::keyClick(preview->slider, Qt::Key_Left);
    QCOMPARE(player().position(), kMinuteMs - 5 * kSecondMs);
}

void TestMainWindowPlaying::theWheelSeeks()
{
    playHour();
    preview->turnWheel(120);
    const int ahead = preview->slider->value();
    QVERIFY(ahead > kMinuteMs);
    QCOMPARE(player().position(), ahead);
    preview->turnWheel(-120);
    QCOMPARE(player().position(), kMinuteMs);
}

void TestMainWindowPlaying::aClickBesideTheHandleSeeksThere()
{
    playHour();
    for (const double fraction : {0.7, 0.3, 0.5}) {
        preview->clickSlider(fraction);
        const double reached = static_cast<double>(player().position()) / kHourMs;
        QVERIFY2(qAbs(reached - fraction) < 0.05, qPrintable(QString::number(reached)));
        QCOMPARE(player().position(), preview->slider->value());
    }
}

void TestMainWindowPlaying::aPositionOfThePlayerSeeksNothing()
{
    playHour();
    const QSignalSpy moves(preview->slider, &QSlider::valueChanged);
    Q_EMIT player().positionChanged(2 * kMinuteMs);
    QCOMPARE(moves.count(), 1);
    QCOMPARE(player().position(), kMinuteMs);
}

void TestMainWindowPlaying::closingTheWindowLeavesItPlaying()
{
    playHour();
    QVERIFY(fixture->window().close());
    QCOMPARE(player().playbackState(), QMediaPlayer::PlayingState);
    QCOMPARE(preview->loadedPath(), kFirst);
}

/** The player is destroyed by the window's base class, which is a window of no slots by then. */
void TestMainWindowPlaying::aDestroyedWindowHearsNothingOfItsPlayer()
{
    playHour();
    QMediaPlayer* const last = preview->player;
    int reports = 0;
    connect(last, &QMediaPlayer::positionChanged, last, [&reports] { ++reports; });
    connect(&fixture->window(), &QObject::destroyed, last, [last, &reports] {
        reports = 0;
        Q_EMIT last->positionChanged(kMinuteMs);
    });
    preview.reset();
    fixture->destroy();
    QCOMPARE(reports, 1);
}

void TestMainWindowPlaying::aResetUnloadsTheFile_data()
{
    QTest::addColumn<bool>("paused");
    QTest::addColumn<QString>("way");
    for (const char* way : {"reset", "new comparison", "change of mode", "find duplicates"}) {
        QTest::addRow("playing, %s", way) << false << QString::fromLatin1(way);
        QTest::addRow("paused, %s", way) << true << QString::fromLatin1(way);
    }
}

void TestMainWindowPlaying::aResetUnloadsTheFile()
{
    QFETCH(const bool, paused);
    QFETCH(const QString, way);
    playHour();
    if (paused) {
        QVERIFY(fixture->click("playButton"));
    }
    if (way == u"reset") {
        fixture->window().resetAll();
    } else if (way == u"new comparison") {
        fixture->choose("actionNew_Comparison");
    } else if (way == u"change of mode") {
        fixture->setMode(1);
    } else {
        QVERIFY(fixture->click("compareButton"));
    }
    QCOMPARE(player().mediaStatus(), QMediaPlayer::NoMedia);
    QCOMPARE(player().playbackState(), QMediaPlayer::StoppedState);
    for (int press = 0; press < 2; ++press) {
        QVERIFY(preview->hasButtons("play", false));
        QCOMPARE(preview->slider->value(), 0);
        QVERIFY(!preview->label->isVisible());
        QVERIFY(fixture->click("playButton"));
    }
}

QTEST_MAIN(TestMainWindowPlaying)
#include "tst_mainwindow_playing.moc"
