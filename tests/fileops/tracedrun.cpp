#include "tracedrun.h"

#include <QFile>
#include <QHash>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

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
    return arguments.startsWith("(1,") || arguments.startsWith("(1<");
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

Result run(const QStringList& arguments, const QStringList& faults, Log log)
{
    const QTemporaryDir logs;
    const QString logFile = logs.filePath(QStringLiteral("trace"));
    QStringList command = {QStringLiteral("-f"), QStringLiteral("-o"), logFile,
                           QStringLiteral("-e"), tracedCalls()};
    if (log == Log::WithPaths) {
        command << QStringLiteral("-y");
    }
    for (const QString& fault : faults) {
        command << QStringLiteral("-e") << QStringLiteral("inject=") + fault;
    }
    command << QStringLiteral(QUORVEL_FILEOPS_DRIVER) << arguments;

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The leak check cannot run in a process that is being traced.
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    process.setProcessEnvironment(environment);
    process.start(strace(), command);
    Result result;
    if (!process.waitForFinished(kHangGuardMs)) {
        return result;
    }
    QFile file(logFile);
    if (file.open(QFile::ReadOnly)) {
        result.trace = file.readAll();
    }
    result.output = process.readAllStandardOutput();
    result.injected = result.trace.count("(INJECTED)");
    result.killed = result.trace.contains("+++ killed by SIGKILL");
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return result;
}

} // namespace tracedrun
