#include "opentrace.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace opentrace {

namespace {

constexpr int kHangGuardMs = 120'000;
/** The traced program ends itself: one whose tracer is killed goes on without. */
constexpr auto kProgramSeconds = "60";

void readLog(const QString& text, Trace& trace)
{
    static const QRegularExpression call(
        QStringLiteral(R"(\b(?:open|openat|openat2)\((?:[^",]*, )?"((?:[^"\\]|\\.)*)\")"));
    for (auto match = call.globalMatch(text); match.hasNext();) {
        trace.paths.append(match.next().captured(1));
    }
    trace.sockets = text.count(QStringLiteral(" socket("));
}

} // namespace

QStringList Trace::below(const QString& folder) const
{
    QStringList found;
    for (const QString& path : paths) {
        if (path.startsWith(folder + u'/')) {
            found.append(path);
        }
    }
    return found;
}

Trace run(const QString& program, const QStringList& arguments)
{
    Trace trace;
    const QTemporaryDir logs;
    const QString log = logs.filePath(QStringLiteral("trace"));
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The leak check cannot run in a process that is being traced.
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral("strace"),
                  QStringList{QStringLiteral("-f"), QStringLiteral("-s"), QStringLiteral("4096"),
                              QStringLiteral("-o"), log, QStringLiteral("-e"),
                              QStringLiteral("trace=open,openat,openat2,socket"),
                              QStringLiteral("timeout"), QString::fromLatin1(kProgramSeconds),
                              program} +
                      arguments);
    if (!process.waitForStarted()) {
        trace.obstacle = QStringLiteral("strace is not installed");
        return trace;
    }
    if (!process.waitForFinished(kHangGuardMs)) {
        return trace;
    }
    trace.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    trace.output = process.readAllStandardOutput();
    QFile file(log);
    if (file.open(QFile::ReadOnly)) {
        readLog(QString::fromUtf8(file.readAll()), trace);
    }
    if (trace.paths.isEmpty()) {
        trace.obstacle = QStringLiteral("tracing is not allowed here: ") +
                         QString::fromUtf8(process.readAllStandardError());
    }
    return trace;
}

} // namespace opentrace
