#include "cliprocess.h"

#include "results/rowtexts.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <sys/prctl.h>

#include <csignal>

QJsonObject CliRun::json() const
{
    return QJsonDocument::fromJson(output).object();
}

QString CliRun::treeText(const QString& prefix) const
{
    const auto cells = [&prefix](const QJsonObject& file) {
        const QString similarity =
            file.contains(QStringLiteral("similarity"))
                ? QStringLiteral("%1%").arg(file[QStringLiteral("similarity")].toInt())
                : QString();
        return QStringList{file[QStringLiteral("path")].toString().remove(prefix), similarity,
                           results::durationText(file[QStringLiteral("durationMs")].toInt()),
                           QString::number(file[QStringLiteral("sampleRateHz")].toInt()),
                           QString::number(file[QStringLiteral("channels")].toInt())}
            .join(QStringLiteral(" | "));
    };
    QString text;
    for (const QJsonValue group : json()[QStringLiteral("groups")].toArray()) {
        text += cells(group[QStringLiteral("reference")].toObject()) + QLatin1Char('\n');
        for (const QJsonValue duplicate : group[QStringLiteral("duplicates")].toArray()) {
            text += QLatin1String("    ") + cells(duplicate.toObject()) + QLatin1Char('\n');
        }
    }
    return text;
}

QStringList CliRun::unorderedPairs(const QString& prefix) const
{
    QStringList pairs;
    for (const QJsonValue group : json()[QStringLiteral("groups")].toArray()) {
        const QString reference =
            group[QStringLiteral("reference")][QStringLiteral("path")].toString().remove(prefix);
        for (const QJsonValue duplicate : group[QStringLiteral("duplicates")].toArray()) {
            QStringList pair{reference,
                             duplicate[QStringLiteral("path")].toString().remove(prefix)};
            pair.sort();
            pairs.append(pair.join(QStringLiteral(" = ")));
        }
    }
    pairs.sort();
    return pairs;
}

CliRun runCli(const QStringList& arguments, const QString& folder,
              const QProcessEnvironment& environment)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.setProcessEnvironment(environment);
    startCli(process, arguments);
    if (!process.waitForFinished(300000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

void startCli(QProcess& process, const QStringList& arguments)
{
    // A test that is killed leaves nothing behind.
    process.setChildProcessModifier([further = process.childProcessModifier()] {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (further) {
            further();
        }
    });
    process.start(QStringLiteral(QUORVEL_CLI), arguments);
    if (!process.waitForStarted()) {
        qFatal("%s", qPrintable(process.errorString()));
    }
}

CliRun runCliTraced(const QString& trace, const QStringList& options, const QStringList& arguments)
{
    QProcess traced;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // The leak check of a sanitized build traces as well, and there can be one tracer only.
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    traced.setProcessEnvironment(environment);
    traced.start(QStringLiteral("strace"),
                 QStringList{QStringLiteral("-f"), QStringLiteral("-o"), trace} + options +
                     QStringList(QStringLiteral(QUORVEL_CLI)) + arguments);
    if (!traced.waitForFinished(300000)) {
        traced.kill();
        traced.waitForFinished();
        return {};
    }
    return {traced.exitCode(), traced.readAllStandardOutput(), traced.readAllStandardError()};
}
