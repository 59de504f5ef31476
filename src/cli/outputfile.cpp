#include "cli/outputfile.h"

#include "fingerprint/audioendings.h"
#include "fingerprint/audiofilediscovery.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cstdio>

namespace cli {

namespace {

QString problem(const QString& fileName, const QString& reason)
{
    return QStringLiteral("The result cannot be written to %1: %2").arg(fileName, reason);
}

/** Whether \a file, which exists, or the file that it links to, is one of audio by its ending. */
bool isAudioFile(const QFileInfo& file)
{
    const auto hasAudioEnding = [](const QFileInfo& info) {
        return QDir::match(fingerprint::audioFileNamePatterns(), info.fileName()) ||
               fingerprint::audioEndings().contains(info.suffix().toLower());
    };
    return hasAudioEnding(file) || hasAudioEnding(QFileInfo(file.canonicalFilePath()));
}

QString writeToStandardOutput(const Report& report, Format format, const std::stop_token& stop)
{
    QFile output;
    ReportSink sink(output, stop);
    if (!output.open(stdout, QIODevice::WriteOnly) || !writeReport(sink, report, format) ||
        !output.flush()) {
        return problem(QStringLiteral("standard output"), output.errorString());
    }
    return {};
}

} // namespace

QString outputProblem(const QString& fileName)
{
    if (fileName.isEmpty()) {
        return {};
    }
    // A device or a pipe would be replaced by a regular file.
    const QFileInfo info(fileName);
    if (info.exists() && !info.isFile()) {
        return problem(fileName, QStringLiteral("it is not a regular file"));
    }
    // A shell pattern in place of the name is enough to lose music.
    if (info.exists() && isAudioFile(info)) {
        return problem(fileName, QStringLiteral("it is an audio file"));
    }
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly)) {
        return problem(fileName, file.errorString());
    }
    file.cancelWriting();
    return {};
}

QString writeOutput(const QString& fileName, const Report& report, Format format,
                    const std::stop_token& stop)
{
    if (fileName.isEmpty()) {
        return writeToStandardOutput(report, format, stop);
    }
    QSaveFile file(fileName);
    ReportSink sink(file, stop);
    if (!file.open(QIODevice::WriteOnly) || !writeReport(sink, report, format) ||
        stop.stop_requested() || !file.commit()) {
        return problem(fileName, file.errorString());
    }
    return {};
}

} // namespace cli
