#include "campaign.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <thread>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>

/** A shadow of 20 TB of address space rules out a limit on that. Leaks are counted elsewhere. */
extern "C" const char* __asan_default_options()
{
    return "abort_on_error=1:detect_leaks=0:allocator_may_return_null=1:max_allocation_size_mb="
           "2048";
}
#endif

namespace fuzz {

namespace {

constexpr double kHangProcessorSeconds = 5.0;
constexpr double kHangWallSeconds = 60.0;
constexpr quint64 kMostMemory = quint64{2} << 30;
constexpr int kRequirementFailed = 70;
constexpr std::chrono::milliseconds kPoll{10};
constexpr qint64 kProgressMs = 60000;
/** After so many failures the run ends: more of them show nothing new. */
constexpr int kMostFailures = 200;

/** The progress of the child, in memory that it shares with its parent. */
struct Shared
{
    std::atomic<quint64> current;
    /** Cases that the present process has done. */
    std::atomic<quint64> done;
    std::atomic<qint64> startedMs;
    std::atomic<double> startedProcessorSeconds;
    std::atomic<quint64> peakKiB;
    std::atomic<quint64> peakCase;
    std::atomic<double> slowestSeconds;
    std::atomic<quint64> slowestCase;
    std::atomic<bool> outOfTime;
};

Shared* newShared()
{
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        qFatal("no memory to share");
    }
    return new (memory) Shared{};
}

double secondsOf(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

qint64 nowMs()
{
    return static_cast<qint64>(secondsOf(CLOCK_MONOTONIC) * 1000.0);
}

void limitProcess()
{
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
#if !defined(__SANITIZE_ADDRESS__)
    const rlimit space = {kMostMemory, kMostMemory};
    setrlimit(RLIMIT_AS, &space);
#endif
}

void notePeak(Shared& shared, quint64 number)
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto peak = static_cast<quint64>(usage.ru_maxrss);
    if (peak > shared.peakKiB) {
        shared.peakKiB = peak;
        shared.peakCase = number;
    }
}

void noteTime(Shared& shared, quint64 number)
{
    const double seconds = secondsOf(CLOCK_PROCESS_CPUTIME_ID) - shared.startedProcessorSeconds;
    if (seconds > shared.slowestSeconds) {
        shared.slowestSeconds = seconds;
        shared.slowestCase = number;
    }
}

/** The child's life: cases from \a first to before \a end, unless the time runs out. */
[[noreturn]] void work(const Harness& harness, quint64 seed, quint64 first, quint64 end,
                       qint64 deadlineMs, Shared& shared)
{
    limitProcess();
    for (quint64 number = first; number < end; ++number) {
        const qint64 now = nowMs();
        if (deadlineMs > 0 && now >= deadlineMs) {
            shared.outOfTime = true;
            break;
        }
        shared.startedProcessorSeconds = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
        shared.startedMs = now;
        shared.current = number;
        harness.runCase(seed, number);
        noteTime(shared, number);
        notePeak(shared, number);
        ++shared.done;
    }
    std::fflush(nullptr);
    _exit(0);
}

bool hangs(pid_t child, const Shared& shared)
{
    clockid_t clock = 0;
    if (shared.startedMs == 0 || clock_getcpuclockid(child, &clock) != 0) {
        return false;
    }
    const double processorSeconds = secondsOf(clock) - shared.startedProcessorSeconds;
    const double wallSeconds = static_cast<double>(nowMs() - shared.startedMs) / 1000.0;
    return processorSeconds > kHangProcessorSeconds || wallSeconds > kHangWallSeconds;
}

/** Where the address space has a limit, this never comes about. */
bool takesTooMuch(pid_t child)
{
    QFile file(QStringLiteral("/proc/%1/statm").arg(child));
    if (!file.open(QFile::ReadOnly)) {
        return false;
    }
    const quint64 pages = file.readAll().split(' ').value(1).toULongLong();
    return pages * static_cast<quint64>(sysconf(_SC_PAGESIZE)) > kMostMemory;
}

/** How one child ended: empty when it did all its cases. */
QByteArray waitFor(pid_t child, const Shared& shared, const std::function<void()>& meanwhile)
{
    int status = 0;
    while (true) {
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) {
            break;
        }
        if (ended < 0 && errno != EINTR) {
            return "lost";
        }
        const bool hanging = hangs(child, shared);
        if (hanging || takesTooMuch(child)) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return hanging ? "hang" : "crash for too much memory";
        }
        meanwhile();
        std::this_thread::sleep_for(kPoll); // unavoidable: no call waits for a child and a clock
    }
    if (WIFSIGNALED(status)) {
        return "crash by signal " + QByteArray::number(WTERMSIG(status));
    }
    const int code = WEXITSTATUS(status);
    if (code == kRequirementFailed) {
        return "wrong result";
    }
    return code == 0 ? QByteArray() : "crash with exit code " + QByteArray::number(code);
}

/** The whole run, seen from the parent. */
class Campaign
{
public:
    Campaign(const Harness& harnessToRun, const Options& askedFor)
        : harness(harnessToRun)
        , options(askedFor)
        , shared(*newShared())
    {
        elapsed.start();
    }

    int run();

private:
    bool isOver() const;
    void runChild();
    void keep(const QByteArray& failure, quint64 number);
    void tellProgress();
    void print(const char* prefix, quint64 cases) const;

    const Harness& harness;
    const Options& options;
    Shared& shared;
    QElapsedTimer elapsed;
    qint64 toldMs = 0;
    quint64 done = 0;
    int crashes = 0;
    int hanging = 0;
    int wrong = 0;
};

bool Campaign::isOver() const
{
    return shared.outOfTime || (options.cases > 0 && done >= options.cases) ||
           crashes + hanging + wrong >= kMostFailures;
}

void Campaign::runChild()
{
    const quint64 first = options.firstCase + done;
    quint64 count = harness.casesPerProcess;
    if (options.cases > 0) {
        count = std::min(count, options.cases - done);
    }
    const qint64 deadlineMs =
        options.minutes > 0.0
            ? nowMs() - elapsed.elapsed() + static_cast<qint64>(options.minutes * 60000.0)
            : 0;
    shared.startedMs = 0;
    shared.done = 0;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        qFatal("no further process can be started");
    }
    if (child == 0) {
        work(harness, options.seed, first, first + count, deadlineMs, shared);
    }
    const QByteArray failure = waitFor(child, shared, [this] { tellProgress(); });
    done += shared.done;
    if (!failure.isEmpty()) {
        ++done;
        keep(failure, shared.current);
    }
}

void Campaign::keep(const QByteArray& failure, quint64 number)
{
    ++(failure == "hang" ? hanging : failure == "wrong result" ? wrong : crashes);
    std::printf("%s: %s in case %llu; again: %s --seed %llu --first %llu --cases 1\n",
                qUtf8Printable(harness.name), failure.constData(), number,
                qUtf8Printable(QCoreApplication::applicationFilePath()), options.seed, number);
    std::fflush(stdout);
    if (!harness.contentOf) {
        return;
    }
    QDir().mkpath(options.findings);
    QFile file(QStringLiteral("%1/%2-%3-%4")
                   .arg(options.findings, harness.name)
                   .arg(options.seed)
                   .arg(number));
    if (file.open(QFile::WriteOnly)) {
        file.write(harness.contentOf(options.seed, number));
        std::printf("    kept as %s\n", qUtf8Printable(file.fileName()));
    }
}

void Campaign::tellProgress()
{
    if (elapsed.elapsed() - toldMs < kProgressMs) {
        return;
    }
    toldMs = elapsed.elapsed();
    print("so far", done + shared.done);
}

void Campaign::print(const char* prefix, quint64 cases) const
{
    const double seconds = static_cast<double>(elapsed.elapsed()) / 1000.0;
    std::printf("%s, %s: %llu cases, %.1f cases/s, %d crashes, %d hangs, %d wrong results, "
                "slowest %.2f s (case %llu), peak memory %.1f MiB (case %llu)\n",
                qUtf8Printable(harness.name), prefix, cases, static_cast<double>(cases) / seconds,
                crashes, hanging, wrong, static_cast<double>(shared.slowestSeconds),
                static_cast<quint64>(shared.slowestCase),
                static_cast<double>(shared.peakKiB) / 1024.0,
                static_cast<quint64>(shared.peakCase));
    std::fflush(stdout);
}

int Campaign::run()
{
    while (!isOver()) {
        runChild();
    }
    print("total", done);
    return crashes + hanging + wrong == 0 ? 0 : 1;
}

[[noreturn]] void showUsage()
{
    std::fputs("Options: --seed N, --first CASE, --cases N, --minutes N, --findings FOLDER; "
               "one of --cases and --minutes is needed\n",
               stderr);
    std::exit(2);
}

} // namespace

Options parseOptions(const QStringList& arguments)
{
    Options options;
    options.findings = QStringLiteral(".");
    bool understood = arguments.size() % 2 == 1; // the program's own name comes first
    for (qsizetype i = 1; understood && i < arguments.size(); i += 2) {
        const QString& option = arguments.at(i);
        const QString& value = arguments.at(i + 1);
        if (option == u"--seed") {
            options.seed = value.toULongLong(&understood);
        } else if (option == u"--first") {
            options.firstCase = value.toULongLong(&understood);
        } else if (option == u"--cases") {
            options.cases = value.toULongLong(&understood);
        } else if (option == u"--minutes") {
            options.minutes = value.toDouble(&understood);
        } else if (option == u"--findings") {
            options.findings = value;
        } else {
            understood = false;
        }
    }
    if (!understood || (options.cases == 0 && options.minutes <= 0.0)) {
        showUsage();
    }
    return options;
}

int run(const Harness& harness, const Options& options)
{
    return Campaign(harness, options).run();
}

QString folderTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
           QStringLiteral("/fuzz-XXXXXX");
}

void require(bool condition, const QByteArray& reason)
{
    if (!condition) {
        std::fprintf(stderr, "wrong: %s\n", reason.constData());
        std::fflush(stderr);
        _exit(kRequirementFailed);
    }
}

} // namespace fuzz
