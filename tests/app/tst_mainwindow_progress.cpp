#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QProgressBar>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <algorithm>
#include <atomic>

namespace {

/** Raw 16-bit samples for more than a day, which take no room on the disk. */
constexpr qint64 kEndlessBytes = qint64(8) << 30;

/** Counts how many threads write messages at once, while every message takes a moment. */
class SpeakerCount
{
public:
    SpeakerCount()
    {
        speaking = 0;
        most = 0;
        previous = qInstallMessageHandler(&SpeakerCount::handle);
    }
    ~SpeakerCount()
    {
        qInstallMessageHandler(previous);
    }
    SpeakerCount(const SpeakerCount&) = delete;
    SpeakerCount& operator=(const SpeakerCount&) = delete;

    static int mostAtOnce()
    {
        return most;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (text != QStringLiteral("ERROR")) {
            previous(type, context, text);
            return;
        }
        const int now = ++speaking;
        int before = most;
        while (before < now && !most.compare_exchange_weak(before, now)) {
        }
        QThread::msleep(5); // unavoidable: two threads can only meet here if they stay a while
        --speaking;
    }

    static inline std::atomic<int> speaking = 0;
    static inline std::atomic<int> most = 0;
    static inline QtMessageHandler previous = nullptr;
};

void writeBrokenFiles(const testmedia::MediaFolder& folder, int count)
{
    for (int i = 0; i < count; ++i) {
        folder.write(QStringLiteral("%1.wav").arg(i), "not music");
    }
}

} // namespace

class TestMainWindowProgress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void fingerprintProgressIsTheShareOfBothRuns();
    void windowAnswersWhileGroupBIsStillRead();
    void comparisonProgressFillsTheLastFifth();
    void comparisonProgressOfAnEmptyListIsIgnored();
    void multicoreDecidesHowManyFilesAreReadAtOnce_data();
    void multicoreDecidesHowManyFilesAreReadAtOnce();

private:
    int barValue() const
    {
        return fixture->find<QProgressBar>("progressBar")->value();
    }
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowProgress::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowProgress::cleanup()
{
    fixture.reset();
}

void TestMainWindowProgress::fingerprintProgressIsTheShareOfBothRuns()
{
    const testmedia::StandardErrorCapture capture;
    const testmedia::MediaFolder two;
    writeBrokenFiles(two, 2);
    const testmedia::MediaFolder endless;
    endless.writeSparse(QStringLiteral("long.sw"), {}, kEndlessBytes);
    fixture->listFolder('A', two.path());
    fixture->listFolder('B', endless.path());
    QVERIFY(fixture->click("compareButton"));
    // Two of three files, times 80: 53.3, truncated.
    QTRY_COMPARE_WITH_TIMEOUT(barValue(), 53, WindowFixture::kHangGuardMs);
    fixture->choose("actionNew_Comparison");
    QCOMPARE(barValue(), 0);
}

void TestMainWindowProgress::windowAnswersWhileGroupBIsStillRead()
{
    const testmedia::StandardErrorCapture capture;
    const testmedia::MediaFolder one;
    writeBrokenFiles(one, 1);
    const testmedia::MediaFolder endless;
    endless.writeSparse(QStringLiteral("long.sw"), {}, kEndlessBytes);
    fixture->listFolder('A', one.path());
    fixture->listFolder('B', endless.path());
    QVERIFY(fixture->click("compareButton"));
    // Group A is done, and would have to wait for Group B.
    QTRY_COMPARE_WITH_TIMEOUT(barValue(), 40, WindowFixture::kHangGuardMs);
    int turns = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, &timer, [&turns] { ++turns; });
    timer.start(0);
    QTRY_VERIFY_WITH_TIMEOUT(turns > 100, WindowFixture::kHangGuardMs);
    QVERIFY(fixture->pool()->activeThreadCount() > 0);
    QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
}

void TestMainWindowProgress::comparisonProgressFillsTheLastFifth()
{
    const testmedia::StandardErrorCapture capture;
    const testmedia::MediaFolder ten;
    writeBrokenFiles(ten, 10);
    const testmedia::MediaFolder twenty;
    writeBrokenFiles(twenty, 20);
    fixture->listFolder('A', ten.path());
    fixture->listFolder('B', twenty.path());
    QVERIFY(fixture->findDuplicates());
    // The range of the last run, 0 to 200, stays until the next.
    const std::pair<int, int> expected[] = {{0, 80},  {9, 80},   {10, 81},
                                            {50, 85}, {199, 99}, {200, 100}};
    for (const auto& [value, shown] : expected) {
        fixture->window().compareValueChanged(value);
        QCOMPARE(barValue(), shown);
    }
}

void TestMainWindowProgress::comparisonProgressOfAnEmptyListIsIgnored()
{
    const testmedia::StandardErrorCapture capture;
    const testmedia::MediaFolder one;
    writeBrokenFiles(one, 1);
    fixture->setMode(1);
    fixture->listFolder('A', one.path());
    QVERIFY(fixture->findDuplicates());
    fixture->find<QProgressBar>("progressBar")->setValue(33);
    fixture->window().compareValueChanged(1);
    QCOMPARE(barValue(), 33);
}

void TestMainWindowProgress::multicoreDecidesHowManyFilesAreReadAtOnce_data()
{
    QTest::addColumn<bool>("multicore");
    QTest::newRow("off") << false;
    QTest::newRow("on") << true;
}

void TestMainWindowProgress::multicoreDecidesHowManyFilesAreReadAtOnce()
{
    QFETCH(bool, multicore);
    settings::write({70, multicore});
    const testmedia::StandardErrorCapture capture;
    const testmedia::MediaFolder first;
    const testmedia::MediaFolder second;
    writeBrokenFiles(first, 30);
    writeBrokenFiles(second, 30);
    fixture->listFolder('A', first.path());
    fixture->listFolder('B', second.path());
    const SpeakerCount speakers;
    QVERIFY(fixture->findDuplicates());
    if (multicore) {
        QVERIFY(SpeakerCount::mostAtOnce() <= QThread::idealThreadCount());
        QVERIFY(SpeakerCount::mostAtOnce() >= std::min(2, QThread::idealThreadCount()));
    } else {
        QCOMPARE(SpeakerCount::mostAtOnce(), 1);
    }
}

QTEST_MAIN(TestMainWindowProgress)
#include "tst_mainwindow_progress.moc"
