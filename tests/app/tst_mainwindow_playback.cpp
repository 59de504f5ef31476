#include "settings/settingsstore.h"
#include "support/playablemedia.h"
#include "support/previewcontrols.h"
#include "support/soundserver.h"
#include "support/windowfixture.h"

#include <QSignalSpy>
#include <QTest>

// The preview plays real files, through the real media backend, into a real sound server.

using testmedia::PlayableMedia;

namespace {

constexpr int kHangGuardMs = 60000;
/** Positions come ten times a second: none within this time means that none will come. */
constexpr int kSilenceMs = 500;

} // namespace

class TestMainWindowPlayback : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void everyFormatPlaysPausesSeeksAndStops_data();
    void everyFormatPlaysPausesSeeksAndStops();
    void everyFormatPlaysToItsEnd_data();
    void everyFormatPlaysToItsEnd();
    void whatPlaysIsHeardUntilItIsPausedOrStopped();
    void doubleClickOnASimilarityCellPlaysThatDuplicate();
    void playStartsOverAfterTheEnd();
    void playStartsOverAfterStop();
    void anotherRowReplacesAPausedFile();
    void aHeldSliderStaysWhilePlaybackGoesOn();
    void aSliderDrawnWhileStoppedDecidesTheStart();
    void arrowKeysSeekAFewSeconds();
    void theWheelSeeks();
    void aClickBesideTheHandleSeeksThere();
    void closingTheWindowLeavesItPlaying();
    void filesWithStrangeNamesAreOpened_data();
    void filesWithStrangeNamesAreOpened();
    void aFileThatCannotBePlayedDoesNotShowTheTimeOfTheLastOne();

private:
    /** Nothing moves any more. */
    bool isSilent() const;
    /** Loads the long tune and pauses it. */
    void loadPaused() const;
    /** Whether the player gets to where the slider is, and the slider stays there. */
    bool playerFollows(int target) const;

    std::unique_ptr<PlayableMedia> m_media;
    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<PreviewControls> preview;
};

void TestMainWindowPlayback::initTestCase()
{
    REQUIRE_SOUND_SERVER();
    m_media = std::make_unique<PlayableMedia>();
}

void TestMainWindowPlayback::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    preview = std::make_unique<PreviewControls>(*fixture);
}

void TestMainWindowPlayback::cleanup()
{
    preview.reset();
    fixture.reset();
}

bool TestMainWindowPlayback::isSilent() const
{
    QSignalSpy positions(preview->player, &QMediaPlayer::positionChanged);
    return !positions.wait(kSilenceMs);
}

void TestMainWindowPlayback::loadPaused() const
{
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(fixture->click("playButton"));
    QVERIFY(isSilent());
}

bool TestMainWindowPlayback::playerFollows(int target) const
{
    const auto isThere = [this, target] {
        return PlayableMedia::isNear(preview->player->position(), target);
    };
    return QTest::qWaitFor(isThere, kHangGuardMs) &&
           PlayableMedia::isNear(preview->slider->value(), target);
}

void TestMainWindowPlayback::everyFormatPlaysPausesSeeksAndStops_data()
{
    QTest::addColumn<QString>("name");
    for (const QString& name : PlayableMedia::names()) {
        QTest::newRow(qPrintable(name)) << name;
    }
}

void TestMainWindowPlayback::everyFormatPlaysPausesSeeksAndStops()
{
    QFETCH(QString, name);

    QVERIFY(preview->play(m_media->path(name)));
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(preview->label->isVisible());
    QVERIFY2(PlayableMedia::isNear(preview->slider->maximum(), PlayableMedia::kTuneMs),
             qPrintable(QString::number(preview->slider->maximum())));
    QVERIFY(preview->plays(preview->slider->value()));
    QVERIFY(preview->label->text().startsWith(QStringLiteral("00:0")));
    QVERIFY(preview->label->text().contains(QStringLiteral(" / 00:0")));

    QVERIFY(fixture->click("playButton"));
    QCOMPARE(preview->player->playbackState(), QMediaPlayer::PausedState);
    QVERIFY(preview->hasButtons("play", true));
    QVERIFY(isSilent());

    QVERIFY(preview->takeHandle());
    preview->drawHandleTo(0.5);
    const int target = preview->slider->value();
    preview->releaseHandle();
    QVERIFY(PlayableMedia::isNear(target, PlayableMedia::kTuneMs / 2));
    QTRY_VERIFY_WITH_TIMEOUT(PlayableMedia::isNear(preview->player->position(), target),
                             kHangGuardMs);
    QCOMPARE(preview->player->playbackState(), QMediaPlayer::PausedState);

    QVERIFY(fixture->click("playButton"));
    QCOMPARE(preview->player->playbackState(), QMediaPlayer::PlayingState);
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(preview->plays(target + 100));

    QVERIFY(fixture->click("stopButton"));
    QCOMPARE(preview->player->playbackState(), QMediaPlayer::StoppedState);
    QVERIFY(preview->hasButtons("play", false));
    QCOMPARE(preview->slider->value(), 0);
    QCOMPARE(preview->player->position(), 0);
    QVERIFY(isSilent());
}

void TestMainWindowPlayback::everyFormatPlaysToItsEnd_data()
{
    everyFormatPlaysPausesSeeksAndStops_data();
}

void TestMainWindowPlayback::everyFormatPlaysToItsEnd()
{
    QFETCH(QString, name);
    QVERIFY(preview->play(m_media->path(name)));
    QTRY_COMPARE_WITH_TIMEOUT(preview->player->mediaStatus(), QMediaPlayer::EndOfMedia,
                              kHangGuardMs);
    QVERIFY2(PlayableMedia::isNear(preview->player->position(), PlayableMedia::kTuneMs),
             qPrintable(QString::number(preview->player->position())));
    QCOMPARE(preview->player->playbackState(), QMediaPlayer::StoppedState);
    QVERIFY(preview->hasButtons("play", false));
    QCOMPARE(preview->slider->value(), 0);
    QVERIFY(preview->label->text().startsWith(QStringLiteral("00:00 / 00:0")));
}

void TestMainWindowPlayback::whatPlaysIsHeardUntilItIsPausedOrStopped()
{
    constexpr int audible = 1000;
    testmedia::Listener listener;
    QVERIFY(listener.loudest() < audible);
    QVERIFY(preview->play(m_media->longTune()));
    QTRY_VERIFY_WITH_TIMEOUT(listener.loudest() > audible, kHangGuardMs);
    QVERIFY(fixture->click("playButton"));
    QTRY_VERIFY_WITH_TIMEOUT(listener.loudest() < audible, kHangGuardMs);
    QVERIFY(preview->play(m_media->longTune()));
    QTRY_VERIFY_WITH_TIMEOUT(listener.loudest() > audible, kHangGuardMs);
    QVERIFY(fixture->click("stopButton"));
    QTRY_VERIFY_WITH_TIMEOUT(listener.loudest() < audible, kHangGuardMs);
}

void TestMainWindowPlayback::doubleClickOnASimilarityCellPlaysThatDuplicate()
{
    // The duplicate is cut shorter, so that its duration shows which file plays.
    constexpr int cutMs = PlayableMedia::kLongTuneMs - 2000;
    const QString first =
        m_media->cutLongTune(QStringLiteral("music/a.flac"), PlayableMedia::kLongTuneMs);
    const QString second = m_media->cutLongTune(QStringLiteral("music/b.flac"), cutMs);
    fixture->setMode(1);
    fixture->listFolder('A', QFileInfo(first).path());
    settings::write({70, false}); // on one thread, the order of the rows is certain
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(preview->tree->topLevelItemCount(), 1);
    QTreeWidgetItem* reference = preview->tree->topLevelItem(0);
    QCOMPARE(reference->text(0), first);
    QCOMPARE(reference->childCount(), 1);
    QVERIFY(reference->child(0)->text(1).endsWith(u'%'));

    preview->doubleClick(reference->child(0), 1);
    QVERIFY(preview->plays(0));
    QCOMPARE(preview->loadedPath(), second);
    QVERIFY(PlayableMedia::isNear(preview->slider->maximum(), cutMs));

    preview->tree->setFocus();
    preview->tree->setCurrentItem(reference);
    QTest::keyClick(preview->tree, Qt::Key_Return);
    QCOMPARE(preview->loadedPath(), first);
    QVERIFY(preview->plays(0));
    QVERIFY(PlayableMedia::isNear(preview->slider->maximum(), PlayableMedia::kLongTuneMs));
}

void TestMainWindowPlayback::playStartsOverAfterTheEnd()
{
    QVERIFY(preview->play(m_media->path(QStringLiteral("FLAC.flac"))));
    QTRY_COMPARE_WITH_TIMEOUT(preview->player->mediaStatus(), QMediaPlayer::EndOfMedia,
                              kHangGuardMs);
    QVERIFY(fixture->click("playButton"));
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(preview->plays(0));
    QVERIFY(preview->slider->value() < PlayableMedia::kTuneMs - PlayableMedia::kToleranceMs);
}

void TestMainWindowPlayback::playStartsOverAfterStop()
{
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(preview->plays(1000));
    QVERIFY(fixture->click("stopButton"));
    QVERIFY(isSilent());
    QCOMPARE(preview->loadedPath(), m_media->longTune());
    QVERIFY(fixture->click("playButton"));
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(preview->player->position() < 1000);
    QVERIFY(preview->plays(0));
}

void TestMainWindowPlayback::anotherRowReplacesAPausedFile()
{
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(fixture->click("playButton"));
    QVERIFY(preview->hasButtons("play", true));
    QVERIFY(preview->play(m_media->path(QStringLiteral("MP3.mp3"))));
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(PlayableMedia::isNear(preview->slider->maximum(), PlayableMedia::kTuneMs));
}

void TestMainWindowPlayback::aHeldSliderStaysWhilePlaybackGoesOn()
{
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(preview->takeHandle());
    const int held = preview->slider->value();
    QVERIFY(preview->plays(held + 300));
    QCOMPARE(preview->slider->value(), held);

    preview->drawHandleTo(0.6);
    const int target = preview->slider->value();
    QVERIFY(PlayableMedia::isNear(target, PlayableMedia::kLongTuneMs * 6 / 10));
    // It goes on from there while the handle is still held.
    QVERIFY(preview->plays(target + 100));
    QVERIFY(preview->player->position() < PlayableMedia::kLongTuneMs - PlayableMedia::kToleranceMs);
    QCOMPARE(preview->slider->value(), target);
    preview->releaseHandle();
    QVERIFY(preview->plays(target + 300));
    QVERIFY(preview->slider->value() > target + 100);
}

void TestMainWindowPlayback::aSliderDrawnWhileStoppedDecidesTheStart()
{
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(fixture->click("stopButton"));
    QVERIFY(preview->takeHandle());
    preview->drawHandleTo(0.5);
    const int target = preview->slider->value();
    preview->releaseHandle();
    QVERIFY(preview->hasButtons("play", false));
    QVERIFY(fixture->click("playButton"));
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(preview->plays(target + 100));
}

void TestMainWindowPlayback::arrowKeysSeekAFewSeconds()
{
    loadPaused(); // so that the player gets to neither place by playing on
    const int before = preview->slider->value();
    QTest::keyClick(preview->slider, Qt::Key_Right);
    QCOMPARE(preview->slider->value(), before + 5000);
    QVERIFY(playerFollows(before + 5000));
    const int ahead = preview->slider->value();
    QTest::keyClick(preview->slider, Qt::Key_Left);
    QCOMPARE(preview->slider->value(), ahead - 5000);
    QVERIFY(playerFollows(ahead - 5000));
}

void TestMainWindowPlayback::theWheelSeeks()
{
    loadPaused();
    const int before = preview->slider->value();
    preview->turnWheel(16); // a notch would pass the end
    const int ahead = preview->slider->value();
    QVERIFY2(ahead >= before + 1500, qPrintable(QString::number(ahead)));
    QVERIFY(playerFollows(ahead));
    preview->turnWheel(-16);
    QVERIFY(playerFollows(before));
}

void TestMainWindowPlayback::aClickBesideTheHandleSeeksThere()
{
    loadPaused();
    for (const double fraction : {0.7, 0.3, 0.5}) {
        preview->clickSlider(fraction);
        const int target = preview->slider->value();
        QVERIFY(PlayableMedia::isNear(target,
                                      static_cast<qint64>(fraction * preview->slider->maximum())));
        QVERIFY(playerFollows(target));
    }
}

void TestMainWindowPlayback::closingTheWindowLeavesItPlaying()
{
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(fixture->window().close());
    QVERIFY(preview->plays(preview->player->position()));
}

void TestMainWindowPlayback::filesWithStrangeNamesAreOpened_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("percent") << QStringLiteral("100%20 love.wav");
    QTest::newRow("hash and question mark") << QStringLiteral("#1?.wav");
    QTest::newRow("spaces around the name") << QStringLiteral(" a b .wav");
    QTest::newRow("line break") << QStringLiteral("a\nb.wav");
    QTest::newRow("other alphabets") << QStringLiteral("Füße и ноги 足.wav");
    QTest::newRow("like a web page") << QStringLiteral("http:/nowhere.example/a.wav");
}

void TestMainWindowPlayback::filesWithStrangeNamesAreOpened()
{
    QFETCH(const QString, name);
    const testmedia::Tune tune{.seed = 1, .seconds = 3, .sampleRateHz = 8000, .channels = 1};
    const testmedia::MediaFolder folder;
    const QString path = folder.write(
        name, testmedia::wavFile(testmedia::samplesOf(tune), tune.sampleRateHz, tune.channels));
    preview->doubleClick(preview->list(path));
    QTRY_VERIFY_WITH_TIMEOUT(preview->slider->maximum() > 0, kHangGuardMs);
}

void TestMainWindowPlayback::aFileThatCannotBePlayedDoesNotShowTheTimeOfTheLastOne()
{
    QVERIFY(preview->play(m_media->longTune()));
    QTRY_VERIFY_WITH_TIMEOUT(preview->label->text().endsWith(QStringLiteral(" / 00:08")),
                             kHangGuardMs);
    preview->doubleClick(preview->list(m_media->path(QStringLiteral("vanished.wav"))));
    QTRY_COMPARE_WITH_TIMEOUT(preview->player->mediaStatus(), QMediaPlayer::InvalidMedia,
                              kHangGuardMs);
    QCOMPARE(preview->label->text(), QString());
    QCOMPARE(preview->slider->maximum(), 0);
}

QTEST_MAIN(TestMainWindowPlayback)
#include "tst_mainwindow_playback.moc"
