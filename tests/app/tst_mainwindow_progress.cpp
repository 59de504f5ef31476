#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QProgressBar>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

namespace {

/** Raw 16-bit samples for more than a day, which take no room on the disk. */
constexpr qint64 kEndlessBytes = qint64(8) << 30;

/**
 * Counts the threads that report errors. Each waits until so many as expected have come, so that
 * the first cannot do all the work alone.
 */
class ReportingThreads
{
public:
    explicit ReportingThreads(std::size_t expected)
    {
        threads.clear();
        wanted = expected;
        previous = qInstallMessageHandler(&ReportingThreads::handle);
    }
    ~ReportingThreads()
    {
        qInstallMessageHandler(previous);
    }
    Q_DISABLE_COPY_MOVE(ReportingThreads)

    static std::size_t count()
    {
        const std::scoped_lock lock(mutex);
        return threads.size();
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        if (text != QStringLiteral("ERROR")) {
            previous(type, context, text);
            return;
        }
        std::unique_lock lock(mutex);
        threads.insert(std::this_thread::get_id());
        changed.notify_all();
        changed.wait_for(lock, std::chrono::milliseconds(WindowFixture::kHangGuardMs),
                         // The constructor sets what is expected.
                         // cppcheck-suppress unsignedPositive
                         [] { return threads.size() >= wanted; });
    }

    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline std::set<std::thread::id> threads;
    static inline std::size_t wanted = 0;
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
    const auto processors = static_cast<std::size_t>(QThread::idealThreadCount());
    const ReportingThreads reporting(multicore ? processors : 1);
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(ReportingThreads::count(), multicore ? processors : std::size_t{1});
}

QTEST_MAIN(TestMainWindowProgress)
#include "tst_mainwindow_progress.moc"
