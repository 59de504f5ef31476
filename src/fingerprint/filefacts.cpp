#include "fingerprint/filefacts.h"

#include "fingerprint/streamfacts.h"

namespace fingerprint {

namespace {

constexpr qint64 kToleranceMs = 1000;
/** The part that may be missing of the stated length, as a divisor. */
constexpr qint64 kOnePercent = 100;

QString secondsText(qint64 milliseconds)
{
    return QString::number(static_cast<double>(milliseconds) / 1000.0, 'f', 1);
}

} // namespace

bool isCutShort(qint64 statedMs, qint64 decodedMs)
{
    if (statedMs < 0) {
        return false;
    }
    const qint64 missingMs = statedMs - decodedMs;
    return missingMs > kToleranceMs && missingMs > statedMs / kOnePercent;
}

FileFacts factsOf(const chromaprint::StreamFacts& stream, const QString& readError)
{
    FileFacts facts;
    facts.container = QString::fromStdString(stream.container);
    facts.codec = QString::fromStdString(stream.codec);
    facts.bitRate = stream.bitRate;
    facts.isLossless = stream.isLossless;
    facts.bitsPerSample = stream.bitsPerSample;
    facts.statedMs = stream.statedMs;
    facts.decodedMs = stream.decodedMs;
    facts.breakReason = readError;
    if (readError.isEmpty() && isCutShort(facts.statedMs, facts.decodedMs)) {
        facts.breakReason = QStringLiteral("Only %1 s of %2 s could be read")
                                .arg(secondsText(facts.decodedMs), secondsText(facts.statedMs));
    }
    facts.completeness = facts.breakReason.isEmpty() ? Completeness::Whole : Completeness::Partial;
    return facts;
}

} // namespace fingerprint
