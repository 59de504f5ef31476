#include "cli/exitstatus.h"
#include "cli/outputfile.h"
#include "cli/program.h"
#include "search/fingerprintstore.h"
#include "support/media.h"

#include <QFile>
#include <QTest>

#include <atomic>
#include <csignal>
#include <dlfcn.h>
#include <poll.h>
#include <semaphore>
#include <stop_token>
#include <unistd.h>

namespace {

/** Whether the next file that gets its name, or is synchronised, is followed by Ctrl-C. */
std::atomic<bool> interruptAfterNaming = false;
std::atomic<bool> interruptAfterSync = false;
std::atomic<bool> isInterrupted = false;
/** Released once the stop is requested, since the program waits for a second signal then. */
std::binary_semaphore stopRequested(0);

constexpr size_t kLargeWrite = 50'000;
/** If set, a stop is requested when so much is written at once. */
std::stop_source* stopAtLargeWrite = nullptr;

template <typename Function> Function* original(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/** Interrupts the program if \a result is that of the call that \a isNext waits for. */
int interruptedAfter(std::atomic<bool>& isNext, int result)
{
    if (result == 0 && isNext.exchange(false)) {
        isInterrupted = true;
        std::raise(SIGINT);
        // The program handles the signal, so raise() returns.
        // cppcheck-suppress unreachableCode
        stopRequested.acquire();
    }
    return result;
}

} // namespace

extern "C" {

int rename(const char* from, const char* to) noexcept
{
    return interruptedAfter(interruptAfterNaming,
                            original<int(const char*, const char*)>("rename")(from, to));
}

// For files that had no name before.
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept
{
    return interruptedAfter(interruptAfterNaming,
                            original<int(int, const char*, int, const char*, int)>("linkat")(
                                fromFolder, from, toFolder, to, flags));
}

int fdatasync(int descriptor)
{
    return interruptedAfter(interruptAfterSync, original<int(int)>("fdatasync")(descriptor));
}

ssize_t write(int descriptor, const void* bytes, size_t count)
{
    if (stopAtLargeWrite != nullptr && count >= kLargeWrite) {
        stopAtLargeWrite->request_stop();
    }
    return original<ssize_t(int, const void*, size_t)>("write")(descriptor, bytes, count);
}

int poll(pollfd* descriptors, nfds_t count, int timeoutMs)
{
    auto* const real = original<int(pollfd*, nfds_t, int)>("poll");
    // The wait for a second signal, the only one with an end. It lasts as long as the test needs.
    if (timeoutMs > 0 && isInterrupted) {
        stopRequested.release();
        timeoutMs = -1;
    }
    return real(descriptors, count, timeoutMs);
}

} // extern "C"

/** A signal that comes between the result and the end of the program. */
class TestLateInterruption : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopAfterTheResultIsWrittenChangesNothing();
    void stopDuringTheLastPieceLeavesTheFileAsItWas();
    void stopWhileAStoreIsSavedEndsTheMerge();
};

void TestLateInterruption::stopAfterTheResultIsWrittenChangesNothing()
{
    const testmedia::MediaFolder media;
    media.makeTune(QStringLiteral("music/tune.ogg"), {.seed = 1, .seconds = 3.0});
    const QString result = media.filePath(QStringLiteral("result.csv"));
    interruptAfterNaming = true;
    const int status =
        cli::run({QStringLiteral("quorvel-cli"), QStringLiteral("-q"), QStringLiteral("-fcsv"),
                  QStringLiteral("-o"), result, media.filePath(QStringLiteral("music"))});
    QVERIFY(isInterrupted);
    QVERIFY(testmedia::contentOf(result).startsWith("reference,"));
    QCOMPARE(status, int(cli::Done));
    // A signal that comes later yet ends the program as any other.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        QCOMPARE(::sigaction(signal, nullptr, &action), 0);
        QVERIFY2(action.sa_handler == SIG_DFL, qPrintable(QString::number(signal)));
    }
}

void TestLateInterruption::stopDuringTheLastPieceLeavesTheFileAsItWas()
{
    const testmedia::MediaFolder folder;
    const QString result = folder.write(QStringLiteral("result.csv"), "an older result");
    cli::Report report;
    // The last piece of the report, too large for the buffer of a file.
    report.failures = {{QStringLiteral("/music/a.mp3"), QString(100'000, u'x')}};
    std::stop_source stop;
    stopAtLargeWrite = &stop;
    const QString problem = cli::writeOutput(result, report, cli::Format::Csv, stop.get_token());
    stopAtLargeWrite = nullptr;
    QVERIFY(stop.stop_requested());
    QVERIFY(!problem.isEmpty());
    QCOMPARE(testmedia::contentOf(result), QByteArray("an older result"));
}

void TestLateInterruption::stopWhileAStoreIsSavedEndsTheMerge()
{
    const testmedia::MediaFolder folder;
    QStringList stores;
    for (const QString& name : {QStringLiteral("all"), QStringLiteral("1"), QStringLiteral("2")}) {
        stores.append(folder.filePath(name));
        search::FingerprintStore(stores.constLast())
            .save({{name, {1, 2, 3}, {name, {1U, 2U}, 1000, 44100, 2}, {}}});
    }
    const auto hasFileOf = [&stores](const QString& name) {
        return search::FingerprintStore(stores.constFirst()).find(name, {1, 2, 3}).has_value();
    };
    const QStringList command = QStringList{QStringLiteral("quorvel-cli"), QStringLiteral("merge"),
                                            QStringLiteral("-q"), QStringLiteral("--into")} +
                                stores;
    isInterrupted = false;
    interruptAfterSync = true;
    const int status = cli::run(command);
    QVERIFY(isInterrupted);
    QCOMPARE(status, 128 + SIGINT);
    QVERIFY(hasFileOf(QStringLiteral("1")));
    QVERIFY(!hasFileOf(QStringLiteral("2")));
    isInterrupted = false;
    QCOMPARE(cli::run(command), int(cli::Done));
    QVERIFY(hasFileOf(QStringLiteral("2")));
}

QTEST_GUILESS_MAIN(TestLateInterruption)
#include "tst_lateinterruption.moc"
