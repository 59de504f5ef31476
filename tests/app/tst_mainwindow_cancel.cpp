#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/occupiedpool.h"
#include "support/timers.h"
#include "support/windowfixture.h"

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QSemaphore>
#include <QTest>

#include <ctime>
#include <memory>

namespace {

constexpr double kTuneSeconds = 5;

/** Raw 16-bit samples for more than a day, which take no room on the disk. */
constexpr qint64 kEndlessBytes = qint64(8) << 30;

/** The time that a full bar stays, when there is nothing to compare. */
constexpr int kFullBarMs = 1000;

/** Waits until the workers of \a pool have taken some processor time. */
bool waitUntilWorkersAreBusy(const QThreadPool* pool)
{
    constexpr std::clock_t kWhile = CLOCKS_PER_SEC / 5;
    const std::clock_t begin = std::clock();
    return QTest::qWaitFor(
        [&] { return std::clock() - begin > kWhile && pool->activeThreadCount() > 0; },
        WindowFixture::kHangGuardMs);
}

enum class Action { FindAgain, NewComparison, ChangeMode, Destroy };

/** The stages in the order of a run. */
enum Stage { Listing, Fingerprints, Comparison, Results, kStageCount };

} // namespace

Q_DECLARE_METATYPE(Action)

class TestMainWindowCancel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void nothingStaleReachesTheNextRun_data();
    void nothingStaleReachesTheNextRun();
    void timerOfAResetRunEndsNothing();
    void timerOfTheLastRunDoesNotEndTheNext();
    void closingTheWindowLeavesTheRunToTheDestructor();
    void resetReturnsOnlyWhenEverythingHasStopped();
    void cancelStopsALongFileInTheMiddle();
    void cancelStopsAHugeListing();
    void stoppedStageFunctionsWorkAgainAfterwards();

private:
    void listBothGroups();
    void startRun(int threads);
    void advanceTo(Stage stage);
    void perform(Action action);
    void checkNothingIsShown();
    void checkFullRun();

    testmedia::MediaFolder m_music;
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowCancel::initTestCase()
{
    testmedia::Tune tune;
    tune.seconds = kTuneSeconds;
    for (const char* name : {"a/1.wav", "a/2.wav", "b/1.flac", "b/3.wav"}) {
        tune.seed = static_cast<unsigned>(name[2] - '0');
        m_music.makeTune(QString::fromLatin1(name), tune);
    }
}

void TestMainWindowCancel::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowCancel::cleanup()
{
    fixture.reset();
}

void TestMainWindowCancel::listBothGroups()
{
    fixture->listFolder('A', m_music.filePath(QStringLiteral("a")));
    fixture->listFolder('B', m_music.filePath(QStringLiteral("b")));
}

void TestMainWindowCancel::startRun(int threads)
{
    QVERIFY(fixture->click("compareButton"));
    fixture->pool()->setMaxThreadCount(threads);
}

/** Runs the stages before \a stage one after the other, and starts \a stage. */
void TestMainWindowCancel::advanceTo(Stage stage)
{
    for (int passed = 0; passed < stage; ++passed) {
        fixture->pool()->waitForDone();
        const support::OccupiedPool occupied(fixture->pool());
        QCoreApplication::processEvents();
    }
    // The records are there until the results are shown.
    QCOMPARE(!MainWindow::fingerprintsFirst.isEmpty(), stage == Comparison);
    QCOMPARE(!fixture->countText().isEmpty(), stage == Results);
}

void TestMainWindowCancel::perform(Action action)
{
    switch (action) {
    case Action::FindAgain:
        QVERIFY(fixture->click("compareButton"));
        break;
    case Action::NewComparison:
        fixture->choose("actionNew_Comparison");
        break;
    case Action::ChangeMode:
        fixture->setMode(1);
        fixture->setMode(0);
        break;
    case Action::Destroy:
        fixture->destroy();
        QCoreApplication::processEvents();
        fixture->open();
        break;
    }
}

void TestMainWindowCancel::checkNothingIsShown()
{
    QCOMPARE(fixture->treeText(), QString());
    QCOMPARE(fixture->countText(), QString());
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
    QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
    QVERIFY(MainWindow::fingerprintsSecond.isEmpty());
}

void TestMainWindowCancel::checkFullRun()
{
    fixture->choose("actionNew_Comparison");
    fixture->setMode(0);
    listBothGroups();
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->treeText(m_music.path()),
             QStringLiteral("/a/1.wav |  | 00:00:05 | 44100 | 2\n"
                            "    /b/1.flac | 100% | 00:00:05 | 44100 | 2\n"));
}

void TestMainWindowCancel::nothingStaleReachesTheNextRun_data()
{
    QTest::addColumn<Action>("action");
    QTest::addColumn<int>("threads");
    const std::pair<const char*, Action> actions[] = {{"find again", Action::FindAgain},
                                                      {"new comparison", Action::NewComparison},
                                                      {"change of mode", Action::ChangeMode},
                                                      {"destruction", Action::Destroy}};
    for (const auto& [name, action] : actions) {
        for (const int threads : {1, 2, 8}) {
            QTest::addRow("%s, %d threads", name, threads) << action << threads;
        }
    }
}

void TestMainWindowCancel::nothingStaleReachesTheNextRun()
{
    QFETCH(Action, action);
    QFETCH(int, threads);
    for (int stage = 0; stage < kStageCount; ++stage) {
        // With the pool idle, the stage has ended and its result is queued.
        for (const bool stageHasEnded : {true, false}) {
            fixture->choose("actionNew_Comparison");
            listBothGroups();
            startRun(threads);
            advanceTo(static_cast<Stage>(stage));
            if (QTest::currentTestFailed()) {
                return;
            }
            if (stageHasEnded) {
                fixture->pool()->waitForDone();
            }
            perform(action);
            if (action == Action::FindAgain) {
                QVERIFY(fixture->waitForResult());
                QCOMPARE(fixture->countText(), QStringLiteral("1 duplicate audio file found."));
            } else {
                fixture->pool()->waitForDone();
                QCoreApplication::processEvents();
                checkNothingIsShown();
            }
        }
    }
    checkFullRun();
}

void TestMainWindowCancel::timerOfAResetRunEndsNothing()
{
    const QTemporaryDir empty;
    for (const Action action : {Action::NewComparison, Action::ChangeMode}) {
        fixture->listFolder('A', empty.path());
        fixture->listFolder('B', empty.path());
        startRun(2);
        QTRY_COMPARE(fixture->find<QProgressBar>("progressBar")->value(), 100);
        perform(action);
        support::fireSingleShots(kFullBarMs);
        checkNothingIsShown();
    }
    // Without a reset, the same ends the run.
    fixture->listFolder('A', empty.path());
    fixture->listFolder('B', empty.path());
    startRun(2);
    QTRY_COMPARE(fixture->find<QProgressBar>("progressBar")->value(), 100);
    QCOMPARE(support::fireSingleShots(kFullBarMs), 1);
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
}

void TestMainWindowCancel::timerOfTheLastRunDoesNotEndTheNext()
{
    const QTemporaryDir empty;
    const testmedia::MediaFolder longFile;
    longFile.writeSparse(QStringLiteral("long.sw"), {}, kEndlessBytes);
    fixture->setMode(1);
    fixture->listFolder('A', empty.path());
    startRun(2);
    QTRY_COMPARE(fixture->find<QProgressBar>("progressBar")->value(), 100);
    fixture->listFolder('A', longFile.path());
    startRun(2);
    support::fireSingleShots(kFullBarMs);
    QCOMPARE(fixture->countText(), QString());
    QVERIFY(fixture->find<QProgressBar>("progressBar")->isTextVisible());
    fixture->choose("actionNew_Comparison");
    checkNothingIsShown();
}

void TestMainWindowCancel::closingTheWindowLeavesTheRunToTheDestructor()
{
    const testmedia::MediaFolder longFile;
    longFile.writeSparse(QStringLiteral("long.sw"), {}, kEndlessBytes);
    fixture->setMode(1);
    fixture->listFolder('A', longFile.path());
    startRun(2);
    QVERIFY(waitUntilWorkersAreBusy(fixture->pool()));
    QVERIFY(fixture->window().close());
    QVERIFY(!fixture->window().isVisible());
    QVERIFY(fixture->pool()->activeThreadCount() > 0);
    fixture->destroy();
}

void TestMainWindowCancel::resetReturnsOnlyWhenEverythingHasStopped()
{
    const testmedia::MediaFolder longFile;
    longFile.writeSparse(QStringLiteral("long.sw"), {}, kEndlessBytes);
    fixture->setMode(1);
    fixture->listFolder('A', longFile.path());
    for (int round = 0; round < 10; ++round) {
        startRun(2);
        QVERIFY(waitUntilWorkersAreBusy(fixture->pool()));
        QVERIFY(fixture->pool()->activeThreadCount() > 0);
        fixture->window().resetAll();
        QCOMPARE(fixture->pool()->activeThreadCount(), 0);
    }
}

void TestMainWindowCancel::cancelStopsALongFileInTheMiddle()
{
    const testmedia::MediaFolder longFile;
    for (int i = 0; i < 4; ++i) {
        longFile.writeSparse(QStringLiteral("%1.sw").arg(i), {}, kEndlessBytes);
    }
    fixture->setMode(1);
    fixture->listFolder('A', longFile.path());
    startRun(2);
    QVERIFY(waitUntilWorkersAreBusy(fixture->pool()));
    QVERIFY(fixture->pool()->activeThreadCount() > 0);
    // Hours of audio: without the stop flag this would not return before the hang guard.
    fixture->choose("actionNew_Comparison");
    checkNothingIsShown();
    checkFullRun();
}

void TestMainWindowCancel::cancelStopsAHugeListing()
{
    const QTemporaryDir huge;
    for (int i = 0; i < 20000; ++i) {
        QFile file(huge.filePath(QStringLiteral("%1.txt").arg(i)));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    fixture->setMode(1);
    for (int i = 0; i < 20000; ++i) {
        fixture->listFolder('A', huge.path());
    }
    startRun(1);
    QVERIFY(waitUntilWorkersAreBusy(fixture->pool()));
    QTRY_COMPARE(fixture->pool()->activeThreadCount(), 1);
    // Four hundred million entries: it would take many minutes.
    fixture->choose("actionNew_Comparison");
    checkNothingIsShown();
}

void TestMainWindowCancel::stoppedStageFunctionsWorkAgainAfterwards()
{
    listBothGroups();
    startRun(1);
    fixture->window().resetAll();
    const FingerprintRecord record =
        MainWindow::calcSingleFingerprint(m_music.filePath(QStringLiteral("a/1.wav")));
    QVERIFY(!std::get<1>(record).isEmpty());
    QCOMPARE(MainWindow::find_audio_files_dir({m_music.path()}).size(), 4);
}

QTEST_MAIN(TestMainWindowCancel)
#include "tst_mainwindow_cancel.moc"
