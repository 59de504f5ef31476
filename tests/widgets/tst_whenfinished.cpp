#include "support/finishedruns.h"
#include "widgets/whenfinished.h"

#include <QPromise>
#include <QTest>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>

#include <memory>
#include <stdexcept>

namespace {

/** A future that ends when end() is called. */
struct OpenRun
{
    OpenRun()
    {
        promise.start();
    }
    void end(int result)
    {
        promise.addResult(result);
        promise.finish();
    }
    QPromise<int> promise;
    QFuture<int> future = promise.future();
};

void add(int& sum, int item)
{
    sum += item;
}

/** A run whose result is the sum of \a items. */
QFuture<int> sumOf(QThreadPool* pool, const QList<int>& items)
{
    return QtConcurrent::mappedReduced<int>(
        pool, items, [](int item) { return item; }, add);
}

/** Delivers what is queued, and what is queued by that. */
void deliver()
{
    for (int pass = 0; pass < 3; ++pass) {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

} // namespace

class TestWhenFinished : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultIsHandedOverOnce();
    void callComesFromTheEventLoopAlsoForARunThatIsOver();
    void callComesOnTheThreadOfTheContext();
    void callComesAfterWhatOlderWatchersReport();
    void cancelledRunsAreSilent();
    void runCancelledAfterItsEndIsSilent();
    void runThatThrowsIsSilent();
    void nothingIsCalledOnceTheContextIsGone();
    void nothingIsLeftBehind();
    void eachOfSeveralFunctionsIsCalled();
    void runThatEndsDuringTheCallIsHandedOverOnce();
    void runsOfAPoolAreEachHandedOverOnce();
};

void TestWhenFinished::resultIsHandedOverOnce()
{
    OpenRun run;
    QObject context;
    QList<int> results;
    whenFinished(run.future, &context, [&results](int result) { results.append(result); });
    deliver();
    QCOMPARE(results, QList<int>());
    run.end(7);
    deliver();
    QCOMPARE(results, QList<int>{7});
}

void TestWhenFinished::callComesFromTheEventLoopAlsoForARunThatIsOver()
{
    OpenRun run;
    run.end(7);
    QObject context;
    QList<int> results;
    whenFinished(run.future, &context, [&results](int result) { results.append(result); });
    QCOMPARE(results, QList<int>());
    deliver();
    QCOMPARE(results, QList<int>{7});
}

void TestWhenFinished::callComesOnTheThreadOfTheContext()
{
    QThreadPool pool;
    QObject context;
    QThread* worker = nullptr;
    QThread* caller = nullptr;
    whenFinished(QtConcurrent::run(&pool, [] { return QThread::currentThread(); }), &context,
                 [&](QThread* result) {
                     worker = result;
                     caller = QThread::currentThread();
                 });
    pool.waitForDone();
    deliver();
    QVERIFY(worker != nullptr);
    QVERIFY(worker != caller);
    QCOMPARE(caller, QThread::currentThread());
}

void TestWhenFinished::callComesAfterWhatOlderWatchersReport()
{
    for (const bool endsBefore : {true, false}) {
        OpenRun run;
        QObject context;
        QStringList reports;
        QFutureWatcher<int> watcher;
        connect(&watcher, &QFutureWatcherBase::progressValueChanged, &context,
                [&reports](int value) { reports.append(QString::number(value)); });
        run.promise.setProgressRange(0, 2);
        if (endsBefore) {
            run.promise.setProgressValue(2);
            run.end(0);
        }
        watcher.setFuture(run.future);
        whenFinished(run.future, &context,
                     [&reports](int) { reports.append(QStringLiteral("end")); });
        if (!endsBefore) {
            run.promise.setProgressValue(2);
            run.end(0);
        }
        deliver();
        QVERIFY2(reports.contains(QStringLiteral("2")), qPrintable(reports.join(u' ')));
        QCOMPARE(reports.count(QStringLiteral("end")), 1);
        QCOMPARE(reports.constLast(), QStringLiteral("end"));
    }
}

void TestWhenFinished::cancelledRunsAreSilent()
{
    OpenRun run;
    QObject context;
    int calls = 0;
    whenFinished(run.future, &context, [&calls](int) { ++calls; });
    run.future.cancel();
    run.end(7);
    deliver();
    QCOMPARE(calls, 0);
}

void TestWhenFinished::runCancelledAfterItsEndIsSilent()
{
    OpenRun run;
    QObject context;
    int calls = 0;
    whenFinished(run.future, &context, [&calls](int) { ++calls; });
    run.end(7);
    run.future.cancel();
    deliver();
    QCOMPARE(calls, 0);
}

void TestWhenFinished::runThatThrowsIsSilent()
{
    QThreadPool pool;
    QObject context;
    int calls = 0;
    whenFinished(QtConcurrent::run(&pool, []() -> int { throw std::runtime_error("no"); }),
                 &context, [&calls](int) { ++calls; });
    pool.waitForDone();
    deliver();
    QCOMPARE(calls, 0);
}

void TestWhenFinished::nothingIsCalledOnceTheContextIsGone()
{
    for (const bool endsBefore : {true, false}) {
        OpenRun run;
        auto context = std::make_unique<QObject>();
        int calls = 0;
        whenFinished(run.future, context.get(), [&calls](int) { ++calls; });
        if (endsBefore) {
            run.end(7);
        }
        context.reset();
        if (!endsBefore) {
            run.end(7);
        }
        deliver();
        QCOMPARE(calls, 0);
    }
}

void TestWhenFinished::nothingIsLeftBehind()
{
    QObject context;
    for (const bool cancelled : {true, false}) {
        OpenRun run;
        whenFinished(run.future, &context, [](int) {});
        if (cancelled) {
            run.future.cancel();
        }
        run.end(7);
        deliver();
        QCOMPARE(context.children(), QObjectList());
    }
}

void TestWhenFinished::eachOfSeveralFunctionsIsCalled()
{
    OpenRun run;
    QObject context;
    QStringList reports;
    whenFinished(run.future, &context,
                 [&reports](int) { reports.append(QStringLiteral("first")); });
    whenFinished(run.future, &context,
                 [&reports](int) { reports.append(QStringLiteral("second")); });
    run.end(7);
    deliver();
    QCOMPARE(reports, QStringList({QStringLiteral("first"), QStringLiteral("second")}));
}

void TestWhenFinished::runThatEndsDuringTheCallIsHandedOverOnce()
{
    const FinishedRuns finished;
    QThreadPool pool;
    QObject context;
    QList<int> results;
    whenFinished(sumOf(&pool, {3, 4}), &context, [&results](int sum) { results.append(sum); });
    pool.waitForDone();
    deliver();
    QCOMPARE(results, QList<int>{7});
}

void TestWhenFinished::runsOfAPoolAreEachHandedOverOnce()
{
    constexpr int kRuns = 2000;
    QThreadPool pool;
    QObject context;
    int calls = 0;
    for (int round = 0; round < kRuns; ++round) {
        const int count = round % 3; // none, as well
        whenFinished(sumOf(&pool, QList<int>(count, 1)), &context,
                     [&calls, count](int sum) { calls += sum == count ? 1 : 0; });
    }
    pool.waitForDone();
    deliver();
    QCOMPARE(calls, kRuns);
    QCOMPARE(context.children(), QObjectList());
}

QTEST_GUILESS_MAIN(TestWhenFinished)
#include "tst_whenfinished.moc"
