#include "actions/stage.h"
#include "cli/exitstatus.h"
#include "cli/program.h"
#include "fileops/filefixture.h"
#include "schemavalidation.h"

#include <QFile>
#include <QTemporaryFile>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <dlfcn.h>
#include <memory>
#include <poll.h>
#include <semaphore>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** The number of the rename that a signal follows, counted down; none if it is not positive. */
int renamesUntilSignal = 0;
int signalToRaise = 0;
/** Released once the stop is requested, since the program waits for a second signal then. */
std::binary_semaphore stopRequested(0);

template <typename Function> Function* original(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept
{
    const int result = original<int(int, const char*, int, const char*, unsigned)>("renameat2")(
        fromFolder, from, toFolder, to, flags);
    if (result == 0 && --renamesUntilSignal == 0) {
        std::raise(signalToRaise);
        // The program handles the signal, so raise() returns.
        // cppcheck-suppress unreachableCode
        stopRequested.acquire();
    }
    return result;
}

int poll(pollfd* descriptors, nfds_t count, int timeoutMs)
{
    // The program's thread for signals waits for the first one, and then for another.
    constexpr int kWaitForASecondSignal = 2;
    thread_local int waits = 0;
    if (timeoutMs < 0 && ++waits == kWaitForASecondSignal && renamesUntilSignal == 0) {
        stopRequested.release();
    }
    return original<int(pollfd*, nfds_t, int)>("poll")(descriptors, count, timeoutMs);
}

} // extern "C"

namespace {

/** How the program ended, and what it printed. */
struct Run
{
    int exitStatus = -1;
    QByteArray output;
    QByteArray errors;
};

/** What is written to one of the standard streams, for as long as this lives. */
class Captured
{
public:
    explicit Captured(FILE* stream)
        : m_stream(stream)
        , m_saved(::dup(::fileno(stream)))
    {
        if (!m_file.open() || std::fflush(stream) != 0 ||
            ::dup2(m_file.handle(), ::fileno(stream)) < 0) {
            qFatal("the output cannot be captured");
        }
    }
    ~Captured()
    {
        std::fflush(m_stream);
        ::dup2(m_saved, ::fileno(m_stream));
        ::close(m_saved);
    }
    Q_DISABLE_COPY_MOVE(Captured)

    QByteArray text() const
    {
        std::fflush(m_stream);
        return filefixture::read(m_file.fileName());
    }

private:
    FILE* const m_stream;
    const int m_saved;
    QTemporaryFile m_file;
};

Run runProgram(const QStringList& arguments)
{
    const Captured output(stdout);
    const Captured errors(stderr);
    const int status = cli::run(QStringList{u"quorvel-cli"_s} + arguments);
    return {status, output.text(), errors.text()};
}

/** Runs the program, and raises \a signal when it has renamed the file with \a number. */
Run runInterrupted(const QStringList& arguments, int number, int signal)
{
    // Whatever runs the test may ignore it.
    std::signal(signal, SIG_DFL);
    signalToRaise = signal;
    renamesUntilSignal = number;
    return runProgram(arguments);
}

} // namespace

/** Signals that come while the commands apply and undo move a file. */
class ApplyInterruptionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void signalEndsAfterTheFileInProgress_data();
    void signalEndsAfterTheFileInProgress();
    void interruptedCommandContinues_data();
    void interruptedCommandContinues();
    void otherCommandGoesBack_data();
    void otherCommandGoesBack();
    void signalDuringTheLastFileChangesNothing_data();
    void signalDuringTheLastFileChangesNothing();

private:
    QStringList arguments(bool undo) const
    {
        return undo ? QStringList{u"undo"_s, m_stage->journal()}
                    : QStringList{u"apply"_s,        m_stage->besides(u"found.json"_s),
                                  u"--move-to"_s,    m_stage->target(),
                                  u"--yes"_s,        u"--journal"_s,
                                  m_stage->journal()};
    }
    /** Runs a command and raises \a signal during the file with \a number. */
    Run interrupt(bool undo, int number, int signal) const
    {
        if (undo) {
            m_stage->apply();
        }
        return runInterrupted(arguments(undo), number, signal);
    }
    bool isAway(const QString& name) const
    {
        return !QFile::exists(m_stage->music(name)) && QFile::exists(m_stage->moved(name));
    }

    std::unique_ptr<Stage> m_stage;
    QStringList m_before;
};

void ApplyInterruptionTest::init()
{
    m_stage = std::make_unique<Stage>();
    QVERIFY(filefixture::write(m_stage->besides(u"found.json"_s), m_stage->result()));
    m_before = m_stage->picture();
}

void ApplyInterruptionTest::signalEndsAfterTheFileInProgress_data()
{
    QTest::addColumn<bool>("undo");
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("exitStatus");
    for (const bool undo : {false, true}) {
        const char* const command = undo ? "undo" : "apply";
        QTest::addRow("%s, Ctrl-C", command) << undo << SIGINT << 130;
        QTest::addRow("%s, terminate", command) << undo << SIGTERM << 143;
        QTest::addRow("%s, hang up", command) << undo << SIGHUP << 129;
    }
}

void ApplyInterruptionTest::signalEndsAfterTheFileInProgress()
{
    QFETCH(const bool, undo);
    QFETCH(const int, signal);
    QFETCH(const int, exitStatus);
    const Run run = interrupt(undo, 2, signal);
    QCOMPARE(run.exitStatus, exitStatus);
    QCOMPARE(run.output,
             undo ? "2 moved back, 22 bytes; 0 left alone\n" : "2 moved, 22 bytes; 0 left alone\n");
    QCOMPARE(run.errors, "quorvel-cli: Interrupted. The same command continues.\n");
    // The last one is moved back first.
    QCOMPARE(isAway(u"a/one.mp3"_s), true);
    QCOMPARE(isAway(u"a/b/one.ogg"_s), !undo);
    QCOMPARE(isAway(u"a/two.mp3"_s), false);
    QCOMPARE(journalObjection(filefixture::read(m_stage->journal())), "");
}

void ApplyInterruptionTest::interruptedCommandContinues_data()
{
    QTest::addColumn<bool>("undo");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("apply") << false
                           << QByteArray("1 moved, 12 bytes; 0 left alone; 2 moved before\n");
    QTest::newRow("undo") << true << QByteArray("1 moved back, 12 bytes; 0 left alone\n");
}

void ApplyInterruptionTest::interruptedCommandContinues()
{
    QFETCH(const bool, undo);
    QFETCH(const QByteArray, output);
    interrupt(undo, 2, SIGINT);
    const Run run = runProgram(arguments(undo));
    QCOMPARE(run.output, output);
    QCOMPARE(run.exitStatus, int(cli::Done));
    QCOMPARE(isAway(u"a/two.mp3"_s), !undo);
    QCOMPARE(m_stage->picture() == m_before, undo);
    QCOMPARE(journalObjection(filefixture::read(m_stage->journal())), "");
}

void ApplyInterruptionTest::otherCommandGoesBack_data()
{
    QTest::addColumn<bool>("undo");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("undo after apply")
        << false << QByteArray("2 moved back, 22 bytes; 0 left alone\n");
    QTest::newRow("apply after undo")
        << true << QByteArray("2 moved, 22 bytes; 0 left alone; 1 moved before\n");
}

void ApplyInterruptionTest::otherCommandGoesBack()
{
    QFETCH(const bool, undo);
    QFETCH(const QByteArray, output);
    interrupt(undo, 2, SIGINT);
    const Run run = runProgram(arguments(!undo));
    QCOMPARE(run.output, output);
    QCOMPARE(run.exitStatus, int(cli::Done));
    QCOMPARE(m_stage->picture() == m_before, !undo);
    QCOMPARE(isAway(u"a/two.mp3"_s), undo);
    QCOMPARE(journalObjection(filefixture::read(m_stage->journal())), "");
}

void ApplyInterruptionTest::signalDuringTheLastFileChangesNothing_data()
{
    QTest::addColumn<bool>("undo");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("apply") << false << QByteArray("3 moved, 34 bytes; 0 left alone\n");
    QTest::newRow("undo") << true << QByteArray("3 moved back, 34 bytes; 0 left alone\n");
}

void ApplyInterruptionTest::signalDuringTheLastFileChangesNothing()
{
    QFETCH(const bool, undo);
    QFETCH(const QByteArray, output);
    const Run run = interrupt(undo, 3, SIGINT);
    QCOMPARE(run.output, output);
    QCOMPARE(run.errors, "");
    QCOMPARE(run.exitStatus, int(cli::Done));
    QCOMPARE(m_stage->picture() == m_before, undo);
}

QTEST_GUILESS_MAIN(ApplyInterruptionTest)
#include "tst_applyinterruption.moc"
