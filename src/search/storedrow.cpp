#include "search/storedrow.h"

#include "fingerprint/featureless.h"

#include <QByteArray>
#include <QSqlQuery>
#include <QVariant>
#include <QtEndian>

namespace search {

namespace {

/** The columns that are selected, in this order. */
enum Column {
    SizeBytes,
    ModifiedMs,
    ChangedMs,
    DurationMs,
    SampleRateHz,
    Channels,
    Fingerprint,
    Failure,
    Container,
    Codec,
    BitRate,
    Lossless,
    BitsPerSample,
    StatedMs,
    DecodedMs,
    BreakReason,
    Path,
};

constexpr auto kSelect =
    "SELECT size_bytes, modified_ms, changed_ms, duration_ms, sample_rate_hz, channels, "
    "fingerprint, failure, container, codec, bit_rate, lossless, bits_per_sample, stated_ms, "
    "decoded_ms, break_reason, files.path FROM files LEFT JOIN facts USING (path) WHERE ";

QList<quint32> fromBlob(const QByteArray& blob)
{
    QList<quint32> words(blob.size() / static_cast<qsizetype>(sizeof(quint32)));
    if (!words.isEmpty()) {
        qFromLittleEndian<quint32>(blob.constData(), words.size(), words.data());
    }
    return words;
}

/** The facts in the current row of \a query; unknown if the row has none. */
fingerprint::FileFacts factsIn(const QSqlQuery& query)
{
    fingerprint::FileFacts facts;
    facts.sizeBytes = query.value(SizeBytes).toLongLong();
    facts.modifiedMs = query.value(ModifiedMs).toLongLong();
    if (query.isNull(Container)) {
        return facts;
    }
    facts.container = query.value(Container).toString();
    facts.codec = query.value(Codec).toString();
    facts.bitRate = query.value(BitRate).toLongLong();
    facts.isLossless = query.value(Lossless).toBool();
    facts.bitsPerSample = query.value(BitsPerSample).toInt();
    facts.statedMs = query.value(StatedMs).toLongLong();
    facts.decodedMs = query.value(DecodedMs).toLongLong();
    facts.breakReason = query.value(BreakReason).toString();
    facts.completeness = facts.breakReason.isEmpty() ? fingerprint::Completeness::Whole
                                                     : fingerprint::Completeness::Partial;
    return facts;
}

} // namespace

QString selectStoredFiles(const QString& condition)
{
    return QLatin1String(kSelect) + condition;
}

QString storedPathIn(const QSqlQuery& query)
{
    return query.value(Path).toString();
}

bool isRecordWholeIn(const QSqlQuery& query)
{
    const qsizetype size = query.value(Fingerprint).toByteArray().size();
    return size % static_cast<qsizetype>(sizeof(quint32)) == 0 &&
           (size > 0) == query.isNull(Failure);
}

StoredFile storedFileIn(const QSqlQuery& query, const QString& path)
{
    const auto number = [&query](int column) { return query.value(column).toLongLong(); };
    const auto integer = [&query](int column) { return query.value(column).toInt(); };
    const QList<quint32> words = fromBlob(query.value(Fingerprint).toByteArray());
    StoredFile file{path,
                    {number(SizeBytes), number(ModifiedMs), number(ChangedMs)},
                    {path, words, integer(DurationMs), integer(SampleRateHz), integer(Channels)},
                    query.value(Failure).toString(),
                    factsIn(query)};
    file.facts.isFeatureless = fingerprint::isFeatureless(words);
    return file;
}

} // namespace search
