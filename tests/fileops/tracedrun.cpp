#include "tracedrun.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <csignal>
#include <sys/types.h>

namespace tracedrun {

namespace {

constexpr int kHangGuardMs = 120'000;

QString strace()
{
    return QStringLiteral("strace");
}

/** Whether \a arguments begin with the descriptor that the driver prints to. */
bool isForStandardOutput(const QByteArray& arguments)
{
    return arguments.startsWith("(1,");
}

/** The calls that are made on files; the rest would only lengthen the log. */
QString tracedCalls()
{
    return QStringLiteral("trace=%file,%desc");
}

} // namespace

int Result::numberOfCall(const QByteArray& systemCall, const QByteArray& landmark) const
{
    int number = 0;
    bool passedLandmark = false;
    for (const QByteArray& line : trace.split('\n')) {
        passedLandmark = passedLandmark || line.contains(landmark);
        if (line.contains(' ' + systemCall + '(')) {
            ++number;
            if (passedLandmark) {
                return number;
            }
        }
    }
    return 0;
}

QList<Call> Result::operationCalls() const
{
    QList<Call> calls;
    QHash<QByteArray, int> numbers;
    bool inside = false;
    for (const QByteArray& line : trace.split('\n')) {
        // "<process> <call>(<arguments>) = <result>"
        const qsizetype begin = line.indexOf(' ') + 1;
        const qsizetype end = line.indexOf('(', begin);
        if (begin == 0 || end < 0) {
            continue;
        }
        const QByteArray name = line.mid(begin, end - begin).trimmed();
        const int number = ++numbers[name];
        if (line.contains("\"operation begins\"")) {
            inside = true;
        } else if (line.contains("\"operation ends\"")) {
            break;
        } else if (inside && !isForStandardOutput(line.mid(end)) && name != "mmap") {
            calls.append({name, number, line});
        }
    }
    return calls;
}

bool isPossible(QString* reason)
{
    QProcess process;
    process.start(strace(),
                  {QStringLiteral("-o"), QStringLiteral("/dev/null"), QStringLiteral("true")});
    if (!process.waitForStarted() || !process.waitForFinished(kHangGuardMs)) {
        *reason = QStringLiteral("strace is not installed");
        return false;
    }
    *reason = QStringLiteral("tracing is not allowed here: ") +
              QString::fromLocal8Bit(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

namespace {

/** The driver under strace. */
class TracedProcess
{
public:
    TracedProcess(const QStringList& arguments, const QStringList& faults)
    {
        QStringList command = {QStringLiteral("-f"), QStringLiteral("-o"), logFile(),
                               QStringLiteral("-e"), tracedCalls()};
        for (const QString& fault : faults) {
            command << QStringLiteral("-e") << QStringLiteral("inject=") + fault;
        }
        command << QStringLiteral(QUORVEL_FILEOPS_DRIVER) << arguments;

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        // The leak check cannot run in a process that is being traced.
        environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
        m_process.setProcessEnvironment(environment);
        m_process.start(strace(), command);
    }

    /** The process that is stopped; 0 if that does not happen. */
    pid_t waitUntilStopped()
    {
        constexpr int kStepMs = 10;
        QElapsedTimer guard;
        guard.start();
        while (guard.elapsed() < kHangGuardMs) {
            const bool ended = m_process.waitForFinished(kStepMs);
            const pid_t stopped = stoppedProcess();
            if (ended || stopped != 0) {
                return stopped;
            }
        }
        return 0;
    }

    Result waitForResult()
    {
        Result result;
        if (!m_process.waitForFinished(kHangGuardMs) && m_process.state() != QProcess::NotRunning) {
            return result;
        }
        result.trace = trace();
        result.output = m_process.readAllStandardOutput();
        result.injected = result.trace.count("(INJECTED)");
        result.killed = result.trace.contains("+++ killed by SIGKILL");
        result.exitCode =
            m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
        return result;
    }

private:
    QString logFile() const
    {
        return m_folder.filePath(QStringLiteral("trace"));
    }

    QByteArray trace() const
    {
        QFile file(logFile());
        return file.open(QFile::ReadOnly) ? file.readAll() : QByteArray();
    }

    pid_t stoppedProcess() const
    {
        // "<process> --- stopped by SIGSTOP ---"
        const QByteArray log = trace();
        const qsizetype end = log.indexOf(" --- stopped by SIGSTOP");
        const qsizetype begin = log.lastIndexOf('\n', end) + 1;
        return end < 0 ? 0 : log.mid(begin, end - begin).trimmed().toInt();
    }

    QTemporaryDir m_folder;
    QProcess m_process;
};

} // namespace

Result run(const QStringList& arguments, const QStringList& faults)
{
    return TracedProcess(arguments, faults).waitForResult();
}

Result runStopped(const QStringList& arguments, const QStringList& faults,
                  const QString& systemCall, int number, const std::function<void()>& meanwhile)
{
    const QString stop = QStringLiteral("%1:signal=STOP:when=%2").arg(systemCall).arg(number);
    TracedProcess process(arguments, QStringList(faults) << stop);
    const pid_t stopped = process.waitUntilStopped();
    if (stopped > 0) {
        meanwhile();
        ::kill(stopped, SIGCONT);
    }
    return process.waitForResult();
}

} // namespace tracedrun
