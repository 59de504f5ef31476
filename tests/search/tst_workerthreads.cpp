#include "search/workerthreads.h"
#include "support/addressspacelimit.h"

#include <QTest>

#include <atomic>
#include <chrono>
#include <stdexcept>

using namespace std::chrono_literals;
using search::WorkerThreads;

class TestWorkerThreads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyThreadRunsTheFunctionOnce();
    void fewerThanOneAreOne();
    void threadsThatCannotBeStartedAreDoneWithout();
    void waitingEndsWhenWoken();
    void waitingEndsAtItsTimeout();
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
    std::atomic<bool> release = false;
    const auto work = [&](WorkerThreads&) {
        ++calls;
        release.wait(false);
    };
    WorkerThreads threads(kThreads, work);
    release = true;
    release.notify_all();
    QVERIFY(threads.waitFor(1h));
    QVERIFY2(calls > 0 && calls < kThreads, qPrintable(QString::number(calls)));
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

void TestWorkerThreads::firstExceptionIsThrownOnceAllHaveReturned()
{
    std::atomic<bool> release = false;
    std::atomic<int> returned = 0;
    WorkerThreads threads(2, [&](WorkerThreads&) {
        if (returned++ == 0) {
            throw std::runtime_error("broken");
        }
        release.wait(false);
    });
    QVERIFY(!threads.waitFor(20ms));
    release = true;
    release.notify_all();
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
