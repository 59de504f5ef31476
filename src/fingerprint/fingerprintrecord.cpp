#include "fingerprint/fingerprintrecord.h"

#include <QByteArray>
#include <QDebug>

#include <cstdio>
#include <exception>

namespace fingerprint {

namespace {

FingerprintRecord failedRecord(const QString& path)
{
    return {path, {}, 0, 0, 0};
}

void print(const QByteArray& message)
{
    std::fprintf(stderr, "ERROR: %s\n", message.constData());
}

/**
 * True when the file system would be asked for \a path itself: half a surrogate pair or a null
 * character would be dropped on the way, and the name that remains may be another file's.
 */
bool survivesEncoding(const QString& path, const QByteArray& encoded)
{
    return QString::fromUtf8(encoded.constData()) == path;
}

} // namespace

FingerprintOutcome fingerprintFile(const QString& path, const std::stop_token& stop)
{
    const QByteArray fileName = path.toUtf8();
    if (!survivesEncoding(path, fileName)) {
        CalculationReport report;
        report.messages.append("Could not open the input file (Invalid argument)");
        return {failedRecord(path), report};
    }
    QList<quint32> words;
    int durationMs = 0;
    int sampleRateHz = 0;
    int channels = 0;
    const CalculationReport report =
        calculate(fileName.constData(), words, durationMs, sampleRateHz, channels, stop);
    if (!report.succeeded) {
        return {failedRecord(path), report};
    }
    return {{path, words, durationMs, sampleRateHz, channels}, report};
}

FingerprintRecord recordForFile(const QString& path, const std::stop_token& stop)
{
    try {
        const FingerprintOutcome outcome = fingerprintFile(path, stop);
        if (!outcome.report.stopped) {
            for (const QByteArray& message : outcome.report.messages) {
                print(message);
            }
            if (!outcome.report.succeeded) {
                qDebug("ERROR");
            }
        }
        return outcome.record;
    } catch (const std::exception& error) {
        qDebug("%s", error.what());
        return failedRecord(path);
    }
}

} // namespace fingerprint
