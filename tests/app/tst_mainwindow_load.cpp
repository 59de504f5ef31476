#include "loadcollection.h"

#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/ffmpegaudioreader.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QLabel>
#include <QLoggingCategory>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <utility>

#ifdef Q_OS_UNIX
#include <ctime>
#endif
#if defined(Q_OS_LINUX) && defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
#define QUORVEL_COUNTS_MEMORY
#include <malloc.h>
#endif

namespace {

constexpr unsigned kSeed = 20'260'102;
constexpr qint64 kHangGuardMs = 600'000;
constexpr std::chrono::milliseconds kBeat{2};
/** What the allocator and the toolkit keep back for later, over all runs ... */
constexpr double kMemorySlackBytes = 1e6;
/** ... and what fragmentation loses between the objects that are left. */
constexpr double kLostBetween = 0.01;
/** Each file is opened for its properties, and again for its fingerprint. */
constexpr int kReadersPerFile = 2;

int numberFromEnvironment(const char* name, int standard)
{
    bool ok = false;
    const int number = qEnvironmentVariableIntValue(name, &ok);
    return ok ? number : standard;
}

/** The processor time that this thread has taken. */
double threadTimeMs()
{
#ifdef Q_OS_UNIX
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
#else
    return 0;
#endif
}

/** The longest time in which the event loop did not turn. */
struct Stall
{
    double ms = 0;     ///< That passed, also while other programs had the processors.
    double workMs = 0; ///< The processor time of this thread, an upper bound of its work.

    void take(const Stall& other)
    {
        ms = std::max(ms, other.ms);
        workMs = std::max(workMs, other.workMs);
    }
};

/** Measures how long the event loop does not turn. */
class HeartBeat
{
public:
    HeartBeat()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] {
            m_longest.take({static_cast<double>(m_sinceLast.nsecsElapsed()) / 1e6,
                            threadTimeMs() - m_threadTimeMs});
            start();
        });
        start();
        m_timer.start(kBeat);
    }
    Stall takeLongest()
    {
        start();
        return std::exchange(m_longest, {});
    }

private:
    void start()
    {
        m_sinceLast.start();
        m_threadTimeMs = threadTimeMs();
    }

    QTimer m_timer;
    QElapsedTimer m_sinceLast;
    double m_threadTimeMs = 0;
    Stall m_longest;
};

/** Turns the event loop, which the heart beat wakes, until \a condition holds. */
bool turnUntil(const std::function<bool()>& condition)
{
    QElapsedTimer guard;
    guard.start();
    while (!condition() && guard.elapsed() < kHangGuardMs) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return condition();
}

qsizetype openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size();
}

double allocatedBytes()
{
#ifdef QUORVEL_COUNTS_MEMORY
    return static_cast<double>(::mallinfo2().uordblks);
#else
    return 0;
#endif
}

double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QFile::ReadOnly)) {
        const QList<QByteArray> lines = status.readAll().split('\n');
        for (const QByteArray& line : lines) {
            if (line.startsWith("VmRSS:")) {
                return line.simplified().split(' ').value(1).toDouble() / 1024;
            }
        }
    }
    return 0;
}

/** Whether reading the file leaves a codec context behind, which the reader closes and keeps. */
bool leavesCodecContext(const QString& path)
{
    chromaprint::FFmpegAudioReader reader;
    return reader.Open(path.toStdString());
}

/** The bytes of one codec context that is left behind. */
double codecContextBytes(const QString& path)
{
    constexpr int kReaders = 500;
    leavesCodecContext(path);
    const double before = allocatedBytes();
    for (int i = 0; i < kReaders; ++i) {
        leavesCodecContext(path);
    }
    return (allocatedBytes() - before) / kReaders;
}

} // namespace

/**
 * Many files, many runs, many cancels in one process. By default few; the environment variables
 * QUORVEL_LOAD_FILES, QUORVEL_LOAD_RUNS and QUORVEL_LOAD_CANCELS give other numbers. Times are
 * printed and never judged.
 */
class TestMainWindowLoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void everyRunFindsTheSameAndLeavesNothing();
    void cancelAtAnyMomentLeavesTheNextRunWhole();

private:
    bool run();

    std::unique_ptr<LoadCollection> m_collection;
    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<testmedia::StandardErrorCapture> m_errors;
    QElapsedTimer m_runTime;
};

void TestMainWindowLoad::initTestCase()
{
    constexpr int kFiles = 600;
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    m_runTime.start();
    m_collection =
        std::make_unique<LoadCollection>(numberFromEnvironment("QUORVEL_LOAD_FILES", kFiles));
    std::printf("%d broken files among them, %lld pairs, made in %lld ms\n",
                m_collection->brokenCount(), static_cast<long long>(m_collection->pairCount()),
                static_cast<long long>(m_runTime.elapsed()));
}

void TestMainWindowLoad::init()
{
    m_errors = std::make_unique<testmedia::StandardErrorCapture>();
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    fixture->listFolder('A', m_collection->groupA());
    fixture->listFolder('B', m_collection->groupB());
}

void TestMainWindowLoad::cleanup()
{
    fixture.reset();
    m_errors.reset();
}

/** Presses "Find duplicates" and waits for the result. */
bool TestMainWindowLoad::run()
{
    const auto* label = fixture->find<QLabel>("duplicateFoundLabel");
    m_runTime.start();
    return fixture->click("compareButton") && turnUntil([label] { return label->isVisible(); });
}

void TestMainWindowLoad::everyRunFindsTheSameAndLeavesNothing()
{
    constexpr int kRuns = 3;
    const int runs = numberFromEnvironment("QUORVEL_LOAD_RUNS", kRuns);
    const QStringList files =
        fingerprint::findAudioFiles({m_collection->groupA(), m_collection->groupB()});
    const auto contexts =
        kReadersPerFile * std::count_if(files.cbegin(), files.cend(), &leavesCodecContext);
    const double contextBytes = codecContextBytes(files.constFirst());
    HeartBeat heart;
    QStringList pairs;
    qsizetype descriptors = 0;
    double allocated = 0;
    Stall longest;
    for (int i = 0; i < runs; ++i) {
        heart.takeLongest();
        QVERIFY(run());
        const qint64 elapsedMs = m_runTime.elapsed();
        const Stall stall = heart.takeLongest();
        longest.take(stall);
        const QStringList found = fixture->unorderedPairs();
        std::printf("run %2d: %6lld ms, longest stall %5.1f ms, work %4.1f ms, %lld pairs found, "
                    "%lld descriptors, %.1f MB resident, %.1f MB allocated\n",
                    i + 1, static_cast<long long>(elapsedMs), stall.ms, stall.workMs,
                    static_cast<long long>(found.size()), static_cast<long long>(openDescriptors()),
                    residentMegabytes(), allocatedBytes() / 1e6);
        if (i == 0) {
            pairs = found;
            descriptors = openDescriptors();
            allocated = allocatedBytes();
            QVERIFY(!pairs.isEmpty());
        }
        QCOMPARE(found, pairs);
        QCOMPARE(openDescriptors(), descriptors);
    }
    const double left = static_cast<double>(contexts) * (runs - 1) * contextBytes;
    const double more = allocatedBytes() - allocated - left;
    std::printf("%d runs: longest stall %.1f ms, work %.1f ms; after the first run %lld x %d codec "
                "contexts of "
                "%.0f bytes were left (%.1f MB), and %.2f MB of anything else\n",
                runs, longest.ms, longest.workMs, static_cast<long long>(contexts), runs - 1,
                contextBytes, left / 1e6, more / 1e6);
#ifdef QUORVEL_COUNTS_MEMORY
    QVERIFY2(more < kMemorySlackBytes + kLostBetween * left, qPrintable(QString::number(more)));
#endif
}

void TestMainWindowLoad::cancelAtAnyMomentLeavesTheNextRunWhole()
{
    constexpr int kCancels = 8;
    const int cancels = numberFromEnvironment("QUORVEL_LOAD_CANCELS", kCancels);
    HeartBeat heart;
    QVERIFY(run());
    const auto wholeMs = static_cast<unsigned>(m_runTime.elapsed());
    const QStringList pairs = fixture->unorderedPairs();

    std::mt19937 random(kSeed);
    QList<double> latenciesMs;
    for (int i = 0; i < cancels; ++i) {
        const auto momentMs = static_cast<qint64>(random() % wholeMs);
        m_runTime.start();
        QVERIFY(fixture->click("compareButton"));
        QVERIFY(turnUntil([&] { return m_runTime.elapsed() >= momentMs; }));
        QElapsedTimer latency;
        latency.start();
        fixture->window().resetAll();
        latenciesMs.append(static_cast<double>(latency.nsecsElapsed()) / 1e6);
        QCOMPARE(fixture->pool()->activeThreadCount(), 0);
        std::printf("cancelled after %5lld ms: %.1f ms\n", static_cast<long long>(momentMs),
                    latenciesMs.last());
    }
    std::sort(latenciesMs.begin(), latenciesMs.end());
    std::printf("%d cancels: median %.1f ms, longest %.1f ms, %lld of 200 ms or more\n", cancels,
                latenciesMs.value(cancels / 2), latenciesMs.last(),
                static_cast<long long>(std::count_if(latenciesMs.cbegin(), latenciesMs.cend(),
                                                     [](double ms) { return ms >= 200; })));
    QVERIFY(run());
    QCOMPARE(fixture->unorderedPairs(), pairs);
}

QTEST_MAIN(TestMainWindowLoad)
#include "tst_mainwindow_load.moc"
