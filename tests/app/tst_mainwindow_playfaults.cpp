#include "support/playablemedia.h"
#include "support/previewcontrols.h"
#include "support/soundserver.h"
#include "support/windowfixture.h"

#include <QApplication>
#include <QDir>
#include <QPointer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

// Failures and interruptions while files play: nothing crashes, leaks or reports later.

using testmedia::PlayableMedia;

namespace {

constexpr int kHangGuardMs = 60000;
/** Positions come ten times a second: none within this time means that none will come. */
constexpr int kSilenceMs = 500;
constexpr int kRows = 50;

const char kWithoutSoundServer[] = "--without-sound-server";

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

} // namespace

class TestMainWindowPlayFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void fiftyRowsPlayTheLastOneAndLeakNoDescriptor();
    void filesThatCannotBePlayedCrashNothing();
    void aFileThatVanishesWhilePlayingCrashesNothing();
    void resetInTheMiddleOfPlayingUnloadsTheFile_data();
    void resetInTheMiddleOfPlayingUnloadsTheFile();
    void destroyingTheWindowWhilePlayingIsSilent_data();
    void destroyingTheWindowWhilePlayingIsSilent();
    void withoutASoundServerNothingCrashes();

private:
    void clickThrough(const QList<QTreeWidgetItem*>& rows);
    void checkUnloaded() const;

    std::unique_ptr<PlayableMedia> m_media;
    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<PreviewControls> preview;
};

void TestMainWindowPlayFaults::initTestCase()
{
    m_media = std::make_unique<PlayableMedia>();
}

void TestMainWindowPlayFaults::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    preview = std::make_unique<PreviewControls>(*fixture);
}

void TestMainWindowPlayFaults::cleanup()
{
    preview.reset();
    fixture.reset();
}

void TestMainWindowPlayFaults::checkUnloaded() const
{
    QVERIFY(preview->hasButtons("play", false));
    QCOMPARE(preview->loadedPath(), QString());
    QCOMPARE(preview->player->mediaStatus(), QMediaPlayer::NoMedia);
    QCOMPARE(preview->slider->value(), 0);
    QVERIFY(!preview->label->isVisible());
}

/** Double-clicks one row after the other; the last one, the long tune, plays. */
void TestMainWindowPlayFaults::clickThrough(const QList<QTreeWidgetItem*>& rows)
{
    for (QTreeWidgetItem* row : rows) {
        preview->doubleClick(row);
        QCoreApplication::processEvents();
    }
    QVERIFY(preview->plays(0));
    QCOMPARE(preview->loadedPath(), m_media->longTune());
    QVERIFY(PlayableMedia::isNear(preview->slider->maximum(), PlayableMedia::kLongTuneMs));
    QVERIFY(preview->hasButtons("pause", true));
}

void TestMainWindowPlayFaults::fiftyRowsPlayTheLastOneAndLeakNoDescriptor()
{
    REQUIRE_SOUND_SERVER();
    const QStringList names = PlayableMedia::names();
    QList<QTreeWidgetItem*> rows;
    for (int i = 0; i < kRows - 1; ++i) {
        const QString& name = names.at(i % names.size());
        const QString copy = m_media->path(QStringLiteral("fifty/%1 %2").arg(i).arg(name));
        QVERIFY(QFile::copy(m_media->path(name), copy));
        rows.append(preview->list(copy));
    }
    rows.append(preview->list(m_media->longTune()));

    clickThrough(rows);
    const qsizetype afterWarmUp = openDescriptors();
    clickThrough(rows);
    QTRY_VERIFY_WITH_TIMEOUT(openDescriptors() <= afterWarmUp, kHangGuardMs);
}

void TestMainWindowPlayFaults::filesThatCannotBePlayedCrashNothing()
{
    REQUIRE_SOUND_SERVER();
    for (const QString& path : m_media->unplayable()) {
        preview->doubleClick(preview->list(path));
        QCOMPARE(preview->loadedPath(), path);
        // GStreamer may load half a file for ever; its buttons are pressed while it is loaded.
        if (!path.endsWith(QStringLiteral("half.m4a"))) {
            QTRY_COMPARE_WITH_TIMEOUT(preview->player->mediaStatus(), QMediaPlayer::InvalidMedia,
                                      kHangGuardMs);
        }
        QVERIFY(preview->label->isVisible());
        // The buttons show what was pressed, whatever the player makes of it.
        fixture->window().on_stopButton_clicked();
        QVERIFY(fixture->click("playButton"));
        QVERIFY(preview->hasButtons("pause", true));
        QVERIFY(fixture->click("playButton"));
        QVERIFY(preview->hasButtons("play", true));
        fixture->window().on_audioSlider_sliderMoved(100);
        QVERIFY(fixture->click("stopButton"));
        QVERIFY(preview->hasButtons("play", false));
        QCOMPARE(preview->slider->value(), 0);
    }
    // The next good file plays as if nothing had been.
    QVERIFY(preview->play(m_media->longTune()));
    QVERIFY(preview->hasButtons("pause", true));
    QVERIFY(PlayableMedia::isNear(preview->slider->maximum(), PlayableMedia::kLongTuneMs));
}

void TestMainWindowPlayFaults::aFileThatVanishesWhilePlayingCrashesNothing()
{
    REQUIRE_SOUND_SERVER();
    const QString doomed = m_media->path(QStringLiteral("doomed.mp3"));
    QVERIFY(QFile::copy(m_media->path(QStringLiteral("MP3.mp3")), doomed));
    QVERIFY(preview->play(doomed));
    QVERIFY(QFile::remove(doomed));
    QVERIFY(preview->plays(preview->slider->value()));
    QVERIFY(fixture->click("playButton"));
    QVERIFY(fixture->click("playButton"));
    QVERIFY(fixture->click("stopButton"));
    preview->doubleClick(preview->list(doomed));
    QTRY_COMPARE_WITH_TIMEOUT(preview->player->mediaStatus(), QMediaPlayer::InvalidMedia,
                              kHangGuardMs);
    QVERIFY(preview->play(m_media->longTune()));
}

void TestMainWindowPlayFaults::resetInTheMiddleOfPlayingUnloadsTheFile_data()
{
    QTest::addColumn<bool>("paused");
    QTest::addColumn<QString>("way");
    for (const char* way : {"reset", "new comparison", "change of mode", "find duplicates"}) {
        QTest::addRow("playing, %s", way) << false << QString::fromLatin1(way);
        QTest::addRow("paused, %s", way) << true << QString::fromLatin1(way);
    }
}

void TestMainWindowPlayFaults::resetInTheMiddleOfPlayingUnloadsTheFile()
{
    REQUIRE_SOUND_SERVER();
    QFETCH(bool, paused);
    QFETCH(QString, way);
    QVERIFY(preview->play(m_media->longTune()));
    if (paused) {
        QVERIFY(fixture->click("playButton"));
    }
    if (way == QStringLiteral("reset")) {
        fixture->window().resetAll();
    } else if (way == QStringLiteral("new comparison")) {
        fixture->choose("actionNew_Comparison");
    } else if (way == QStringLiteral("change of mode")) {
        fixture->setMode(1);
    } else {
        QVERIFY(fixture->click("compareButton"));
    }
    checkUnloaded();
    // Nothing comes later from what played before.
    QSignalSpy positions(preview->player, &QMediaPlayer::positionChanged);
    QVERIFY(!positions.wait(kSilenceMs));
    checkUnloaded();
    QVERIFY(fixture->click("playButton"));
    checkUnloaded();
}

void TestMainWindowPlayFaults::destroyingTheWindowWhilePlayingIsSilent_data()
{
    QTest::addColumn<QString>("moment");
    for (const char* moment : {"loading", "playing", "paused", "just before the end", "failed"}) {
        QTest::newRow(moment) << QString::fromLatin1(moment);
    }
}

void TestMainWindowPlayFaults::destroyingTheWindowWhilePlayingIsSilent()
{
    REQUIRE_SOUND_SERVER();
    QFETCH(QString, moment);
    if (moment == QStringLiteral("loading")) {
        preview->doubleClick(preview->list(m_media->longTune()));
    } else if (moment == QStringLiteral("failed")) {
        preview->doubleClick(preview->list(m_media->path(QStringLiteral("vanished.mp3"))));
        QTRY_COMPARE_WITH_TIMEOUT(preview->player->mediaStatus(), QMediaPlayer::InvalidMedia,
                                  kHangGuardMs);
    } else {
        QVERIFY(preview->play(m_media->longTune()));
    }
    if (moment == QStringLiteral("paused")) {
        QVERIFY(fixture->click("playButton"));
    } else if (moment == QStringLiteral("just before the end")) {
        preview->player->setPosition(preview->player->duration() - 50);
    }
    const QPointer<QMediaPlayer> player(preview->player);
    preview.reset();
    fixture->destroy();
    QVERIFY(player.isNull());
    // Whatever is still under way for the old window must reach neither it nor the new one.
    fixture->open();
    preview = std::make_unique<PreviewControls>(*fixture);
    QSignalSpy positions(preview->player, &QMediaPlayer::positionChanged);
    QVERIFY(!positions.wait(kSilenceMs));
    checkUnloaded();
    QVERIFY(preview->play(m_media->longTune()));
}

void TestMainWindowPlayFaults::withoutASoundServerNothingCrashes()
{
    const QTemporaryDir nowhere;
    QProcess program;
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.setProcessEnvironment(testmedia::environmentWithoutSoundServer(nowhere.path()));
    const QStringList files{m_media->path(QStringLiteral("MP3.mp3")),
                            m_media->path(QStringLiteral("AAC.m4a")), m_media->longTune()};
    program.start(QCoreApplication::applicationFilePath(),
                  QStringList{QString::fromLatin1(kWithoutSoundServer)} + files);
    QVERIFY(program.waitForFinished(kHangGuardMs));
    const QByteArray output = program.readAll();
    QVERIFY2(program.exitStatus() == QProcess::NormalExit, output.constData());
    QVERIFY2(program.exitCode() == 0, output.constData());
    QVERIFY2(output.contains("stopped the last of 3\n"), output.constData());
}

namespace {

/** Plays, pauses and stops each file; whether it is ever heard is not asked. */
int playWithoutSoundServer(const QStringList& files)
{
    if (testmedia::missingSoundServer().isEmpty()) {
        std::fprintf(stderr, "a sound server answers\n");
        return EXIT_FAILURE;
    }
    WindowFixture fixture;
    fixture.open();
    const PreviewControls preview(fixture);
    for (const QString& path : files) {
        preview.doubleClick(preview.list(path));
        QSignalSpy positions(preview.player, &QMediaPlayer::positionChanged);
        positions.wait(2000);
        const bool done = preview.label->isVisible() && preview.loadedPath() == path &&
                          fixture.click("playButton") && fixture.click("playButton") &&
                          fixture.click("stopButton") && preview.hasButtons("play", false);
        if (!done) {
            std::fprintf(stderr, "failed at %s\n", qPrintable(path));
            return EXIT_FAILURE;
        }
    }
    std::fprintf(stdout, "stopped the last of %d\n", static_cast<int>(files.size()));
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.value(1) == QLatin1StringView(kWithoutSoundServer)) {
        return playWithoutSoundServer(arguments.mid(2));
    }
    TestMainWindowPlayFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_mainwindow_playfaults.moc"
