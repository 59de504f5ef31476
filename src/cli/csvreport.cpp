#include "cli/factfields.h"
#include "cli/report.h"

#include <QVariant>

#include <QStringList>

#include <algorithm>

namespace cli {

namespace {

constexpr qsizetype kPathColumn = 1;
constexpr qsizetype kFailureColumn = 9;

/**
 * The column names. A row is a duplicate with its reference, a part in common, or what failed or was
 * skipped.
 */
QStringList header(bool hasParts)
{
    QStringList names = {
        QStringLiteral("reference"),           QStringLiteral("path"),
        QStringLiteral("similarity"),          QStringLiteral("durationMs"),
        QStringLiteral("sampleRateHz"),        QStringLiteral("channels"),
        QStringLiteral("referenceDurationMs"), QStringLiteral("referenceSampleRateHz"),
        QStringLiteral("referenceChannels"),   QStringLiteral("failure")};
    // Behind the others: who reads the first columns by their number still finds them.
    const QList<FactField> fields = factFields({});
    for (const FactField& field : fields) {
        names.append(field.name);
    }
    for (const FactField& field : fields) {
        names.append(QLatin1String("reference") + field.name.left(1).toUpper() + field.name.mid(1));
    }
    if (hasParts) {
        names << QStringLiteral("relation") << QStringLiteral("lengthMs")
              << QStringLiteral("referenceBeginMs") << QStringLiteral("beginMs")
              << QStringLiteral("referenceShare") << QStringLiteral("share");
    }
    return names;
}

/** Returns \a field as RFC 4180 writes it. */
QString quoted(QString field)
{
    const auto needsQuotes = [](QChar character) {
        return character == QLatin1Char(',') || character == QLatin1Char('"') ||
               character == QLatin1Char('\r') || character == QLatin1Char('\n');
    };
    if (std::none_of(field.cbegin(), field.cend(), needsQuotes)) {
        return field;
    }
    field.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + field + QLatin1Char('"');
}

/** Writes a row of \a columns fields, of which those behind \a fields are empty. */
bool writeRow(ReportSink& sink, QStringList fields, qsizetype columns)
{
    fields.resize(columns);
    for (QString& field : fields) {
        field = quoted(field);
    }
    return sink.write(fields.join(QLatin1Char(',')).toUtf8() + "\r\n");
}

QStringList factTexts(const fingerprint::FileFacts& facts)
{
    QStringList texts;
    for (const FactField& field : factFields(facts)) {
        texts.append(field.value.toVariant().toString());
    }
    return texts;
}

QStringList properties(const QString& path, const AudioInfoMap& audioInfo)
{
    const auto [durationMs, sampleRateHz, channels] = audioInfo.value(path);
    return {QString::number(durationMs), QString::number(sampleRateHz), QString::number(channels)};
}

QStringList failureRow(const QString& path, const QString& reason)
{
    QStringList row(kFailureColumn + 1);
    row[kPathColumn] = path;
    row[kFailureColumn] = reason;
    return row;
}

/** The part of \a entry; the first file is its reference. */
QStringList partRow(const PartEntry& entry, const Report& report)
{
    const auto ms = [](double seconds) { return QString::number(millisecondsOf(seconds)); };
    const auto share = [](double value) { return QString::number(value, 'f', 4); };
    QStringList row = {entry.first, entry.second, QString::number(entry.similarity)};
    row += properties(entry.second, report.audioInfo);
    row += properties(entry.first, report.audioInfo);
    row += QString();
    row += factTexts(report.facts.value(entry.second));
    row += factTexts(report.facts.value(entry.first));
    row << relationName(entry.relation) << ms(entry.inFirst.partSeconds)
        << ms(entry.inFirst.beginSeconds) << ms(entry.inSecond.beginSeconds)
        << share(entry.inFirst.share()) << share(entry.inSecond.share());
    return row;
}

} // namespace

bool writeCsv(ReportSink& sink, const Report& report)
{
    const QStringList names = header(report.parts.has_value());
    const qsizetype columns = names.size();
    if (!writeRow(sink, names, columns)) {
        return false;
    }
    for (auto entry = report.duplicates.cbegin(); entry != report.duplicates.cend(); ++entry) {
        const QStringList referenceProperties = properties(entry.key(), report.audioInfo);
        const QStringList referenceFacts = factTexts(report.facts.value(entry.key()));
        for (const auto& [path, similarity] : entry.value()) {
            QStringList row = {entry.key(), path, QString::number(similarity)};
            row += properties(path, report.audioInfo);
            row += referenceProperties;
            row += QString();
            row += factTexts(report.facts.value(path));
            row += referenceFacts;
            if (!writeRow(sink, row, columns)) {
                return false;
            }
        }
    }
    const QList<PartEntry> entries = report.parts ? report.parts->entries : QList<PartEntry>();
    for (const PartEntry& entry : entries) {
        if (!writeRow(sink, partRow(entry, report), columns)) {
            return false;
        }
    }
    for (const search::FailedFile& failure : report.failures) {
        if (!writeRow(sink, failureRow(failure.path, failure.reason), columns)) {
            return false;
        }
    }
    for (const fingerprint::SkippedEntry& entry : report.skipped) {
        if (!writeRow(sink, failureRow(entry.path, QLatin1String("skipped: ") + entry.reason),
                      columns)) {
            return false;
        }
    }
    return true;
}

} // namespace cli
