#include "fingerprint/fingerprintrecord.h"

#include "fingerprint/fingerprintcalculation.h"

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

FingerprintRecord recordForFile(const QString& path, const std::stop_token& stop)
{
    const QByteArray fileName = path.toUtf8();
    if (!survivesEncoding(path, fileName)) {
        print("Could not open the input file (Invalid argument)");
        qDebug("ERROR");
        return failedRecord(path);
    }
    QList<quint32> words;
    int durationMs = 0;
    int sampleRateHz = 0;
    int channels = 0;
    try {
        const CalculationReport report =
            calculate(fileName.constData(), words, durationMs, sampleRateHz, channels, stop);
        if (report.stopped) {
            return failedRecord(path);
        }
        for (const QByteArray& message : report.messages) {
            print(message);
        }
        if (!report.succeeded) {
            qDebug("ERROR");
            return failedRecord(path);
        }
    } catch (const std::exception& error) {
        qDebug("%s", error.what());
        return failedRecord(path);
    }
    return {path, words, durationMs, sampleRateHz, channels};
}

} // namespace fingerprint
