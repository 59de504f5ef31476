#include "search/workerthreads.h"
#include "support/addressspacelimit.h"

#include <QDir>
#include <QTest>

#include <atomic>
#include <chrono>
#include <stdexcept>

using namespace std::chrono_literals;
using search::WorkerThreads;

namespace {

/** Counts the threads that made one and have ended, which is after their function has returned. */
class EndOfThread
{
public:
    explicit EndOfThread(std::atomic<int>& ended)
        : m_ended(ended)
    {
    }
    ~EndOfThread()
    {
        ++m_ended;
        m_ended.notify_all();
    }
    EndOfThread(const EndOfThread&) = delete;
    EndOfThread& operator=(const EndOfThread&) = delete;

private:
    std::atomic<int>& m_ended;
};

void waitUntil(const std::atomic<int>& ended, int count)
{
    for (int now = ended; now < count; now = ended) {
        ended.wait(now);
    }
}

qsizetype threadsOfThisProcess()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs).size();
}

} // namespace

class TestWorkerThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyThreadRunsTheFunctionOnce();
    void fewerThanOneAreOne();
    void threadsThatCannotBeStartedAreDoneWithout();
    void waitingEndsWhenWoken();
    void waitingEndsAtItsTimeout();
    void waitingForAllCallsUntilTheyHaveReturned();
    void firstExceptionIsThrownOnceAllHaveReturned();
    void destructionWaitsForTheThreads();
};

void TestWorkerThreads::everyThreadRunsTheFunctionOnce()
{
    std::atomic<int> calls = 0;
    WorkerThreads threads(8, [&calls](WorkerThreads&) { ++calls; });
    while (!threads.waitFor(10s)) {
    }
    QCOMPARE(calls.load(), 8);
}

void TestWorkerThreads::fewerThanOneAreOne()
{
    std::atomic<int> calls = 0;
    WorkerThreads threads(0, [&calls](WorkerThreads&) { ++calls; });
    QVERIFY(threads.waitFor(10s));
    QCOMPARE(calls.load(), 1);
}

void TestWorkerThreads::threadsThatCannotBeStartedAreDoneWithout()
{
#ifdef __SANITIZE_ADDRESS__
    QSKIP("the address space cannot be limited here");
#else
    // Room for the stacks of some threads, but not of all.
    constexpr int kThreads = 1000;
    const support::AddressSpaceLimit limit(rlim_t{512} << 20);
    QVERIFY(limit.holds());
    std::atomic<int> calls = 0;
    std::atomic<int> ended = 0;
    std::atomic<bool> release = false;
    std::atomic<bool> releaseLast = false;
    const auto work = [&](WorkerThreads&) {
        const thread_local EndOfThread end(ended);
        std::atomic<bool>& released = ++calls == 1 ? releaseLast : release;
        released.wait(false);
    };
    const qsizetype before = threadsOfThisProcess();
    WorkerThreads threads(kThreads, work);
    const auto started = static_cast<int>(threadsOfThisProcess() - before);
    release = true;
    release.notify_all();
    waitUntil(ended, started - 1);
    const bool allReturned = threads.waitFor(0ms);
    releaseLast = true;
    releaseLast.notify_all();
    QVERIFY(!allReturned);
    QVERIFY(threads.waitFor(1h));
    QCOMPARE(calls.load(), started);
    QVERIFY2(started > 1 && started < kThreads, qPrintable(QString::number(started)));
#endif
}

void TestWorkerThreads::waitingEndsWhenWoken()
{
    std::atomic<bool> release = false;
    WorkerThreads threads(1, [&release](WorkerThreads& workers) {
        workers.wake();
        release.wait(false);
    });
    // Without the call this would take as long as the test may.
    QVERIFY(!threads.waitFor(1h));
    release = true;
    release.notify_all();
    QVERIFY(threads.waitFor(1h));
}

void TestWorkerThreads::waitingEndsAtItsTimeout()
{
    std::atomic<bool> release = false;
    WorkerThreads threads(1, [&release](WorkerThreads&) { release.wait(false); });
    QVERIFY(!threads.waitFor(1ms));
    release = true;
    release.notify_all();
}

void TestWorkerThreads::waitingForAllCallsUntilTheyHaveReturned()
{
    std::atomic<int> calls = 0;
    std::atomic<int> returned = 0;
    WorkerThreads threads(2, [&calls, &returned](WorkerThreads&) {
        waitUntil(calls, 3);
        ++returned;
    });
    threads.waitForAll([&calls] {
        ++calls;
        calls.notify_all();
    });
    QVERIFY(calls >= 3);
    QCOMPARE(returned.load(), 2);

    WorkerThreads failing(1, [](WorkerThreads&) { throw std::runtime_error("failed"); });
    QVERIFY_EXCEPTION_THROWN(failing.waitForAll([] {}), std::runtime_error);
}

void TestWorkerThreads::firstExceptionIsThrownOnceAllHaveReturned()
{
    std::atomic<bool> release = false;
    std::atomic<int> calls = 0;
    std::atomic<int> ended = 0;
    WorkerThreads threads(2, [&](WorkerThreads&) {
        if (calls++ == 0) {
            const thread_local EndOfThread end(ended);
            throw std::runtime_error("broken");
        }
        release.wait(false);
        throw std::logic_error("broken as well");
    });
    waitUntil(ended, 1);
    const bool allReturned = threads.waitFor(0ms);
    release = true;
    release.notify_all();
    QVERIFY(!allReturned);
    QVERIFY_EXCEPTION_THROWN(threads.waitFor(1h), std::runtime_error);
    QVERIFY(threads.waitFor(1h));
}

void TestWorkerThreads::destructionWaitsForTheThreads()
{
    std::atomic<bool> returned = false;
    {
        const WorkerThreads threads(1, [&returned](WorkerThreads&) {
            std::this_thread::sleep_for(20ms); // unavoidable: work that takes its time
            returned = true;
        });
    }
    QVERIFY(returned);
}

QTEST_APPLESS_MAIN(TestWorkerThreads)
#include "tst_workerthreads.moc"
