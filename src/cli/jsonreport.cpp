#include "cli/factfields.h"
#include "cli/report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace cli {

namespace {

/** The version of docs/quorvel-cli.schema.json that the document follows. */
constexpr int kFormatVersion = 2;

QJsonObject fileObject(const QString& path, const Report& report)
{
    const auto [durationMs, sampleRateHz, channels] = report.audioInfo.value(path);
    QJsonObject file{{QStringLiteral("path"), path},
                     {QStringLiteral("durationMs"), durationMs},
                     {QStringLiteral("sampleRateHz"), sampleRateHz},
                     {QStringLiteral("channels"), channels}};
    for (const FactField& field : factFields(report.facts.value(path))) {
        file.insert(field.name, field.value);
    }
    return file;
}

QJsonObject groupObject(const QString& reference, const DuplicateMap::mapped_type& matches,
                        const Report& report)
{
    QJsonArray duplicates;
    for (const auto& [path, similarity] : matches) {
        QJsonObject duplicate = fileObject(path, report);
        duplicate.insert(QStringLiteral("similarity"), similarity);
        duplicates.append(duplicate);
    }
    return {{QStringLiteral("reference"), fileObject(reference, report)},
            {QStringLiteral("duplicates"), duplicates}};
}

/** \a folders once each and sorted, so that their order in the call changes nothing. */
QJsonArray sorted(QStringList folders)
{
    folders.sort();
    folders.removeDuplicates();
    return QJsonArray::fromStringList(folders);
}

QJsonObject headOf(const Report& report)
{
    QJsonObject head{{QStringLiteral("version"), kFormatVersion},
                     {QStringLiteral("mode"), report.betweenGroups
                                                  ? QStringLiteral("Between groups")
                                                  : QStringLiteral("Within group")},
                     {QStringLiteral("folders"), sorted(report.folders)},
                     {QStringLiteral("against"), sorted(report.against)},
                     {QStringLiteral("threshold"), report.threshold}};
    QJsonObject counts{
        {QStringLiteral("files"), report.fileCount},
        {QStringLiteral("failures"), report.failures.size()},
        {QStringLiteral("tooShortForFingerprint"), report.tooShortForFingerprint()},
        {QStringLiteral("skipped"), report.skipped.size()},
        {QStringLiteral("notSearched"), report.notSearchedCount()},
        {QStringLiteral("partial"), report.countOf(fingerprint::Completeness::Partial) +
                                        report.countOf(fingerprint::Completeness::Unknown)},
        {QStringLiteral("groups"), report.duplicates.size()},
        {QStringLiteral("duplicates"), report.duplicateCount()}};
    if (!report.keep.isEmpty()) {
        head.insert(QStringLiteral("keep"), QJsonArray::fromStringList(report.keep));
    }
    if (report.durations.least) {
        head.insert(QStringLiteral("minDurationSeconds"), *report.durations.least);
        counts.insert(QStringLiteral("tooShort"), report.tooShortCount);
    }
    if (report.durations.most) {
        head.insert(QStringLiteral("maxDurationSeconds"), *report.durations.most);
        counts.insert(QStringLiteral("tooLong"), report.tooLongCount);
    }
    if (report.parts) {
        head.insert(QStringLiteral("minLengthSeconds"), report.parts->leastLength);
        counts.insert(QStringLiteral("parts"), report.parts->entries.size());
        counts.insert(QStringLiteral("commonWords"), report.parts->commonWords);
        counts.insert(QStringLiteral("commonPlaces"), report.parts->commonPlaces);
    }
    head.insert(QStringLiteral("counts"), counts);
    return head;
}

QJsonObject partObject(const PartEntry& entry)
{
    const auto rounded = [](double share) { return std::round(share * 1e4) / 1e4; };
    return {{QStringLiteral("first"), entry.first},
            {QStringLiteral("second"), entry.second},
            {QStringLiteral("firstBeginMs"), millisecondsOf(entry.inFirst.beginSeconds)},
            {QStringLiteral("secondBeginMs"), millisecondsOf(entry.inSecond.beginSeconds)},
            {QStringLiteral("lengthMs"), millisecondsOf(entry.inFirst.partSeconds)},
            {QStringLiteral("similarity"), entry.similarity},
            {QStringLiteral("firstDurationMs"), millisecondsOf(entry.inFirst.fileSeconds)},
            {QStringLiteral("secondDurationMs"), millisecondsOf(entry.inSecond.fileSeconds)},
            {QStringLiteral("firstShare"), rounded(entry.inFirst.share())},
            {QStringLiteral("secondShare"), rounded(entry.inSecond.share())},
            {QStringLiteral("relation"), relationName(entry.relation)}};
}

QByteArray text(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/** What has no place in the groups, and why: a failed file, or what was skipped. */
template <typename Entry> QByteArray reasonText(const Entry& entry)
{
    return text({{QStringLiteral("path"), entry.path}, {QStringLiteral("reason"), entry.reason}});
}

/** Writes a list, a line for each of \a entries, up to its closing bracket. */
template <typename Entry, typename Function>
bool writeList(ReportSink& sink, const QByteArray& name, const QList<Entry>& entries,
               const Function& textOf)
{
    QByteArray piece = ",\n\"" + name + "\":[";
    QByteArray separator = "\n";
    for (const Entry& entry : entries) {
        if (!sink.write(piece + separator + textOf(entry))) {
            return false;
        }
        piece.clear();
        separator = ",\n";
    }
    return sink.write(piece + ']');
}

} // namespace

// Written in pieces, a line for each object of the lists: the document of every pair of a large
// collection would take many times the memory of the search.
bool writeJson(ReportSink& sink, const Report& report)
{
    QByteArray head = text(headOf(report));
    head.chop(1);
    if (!sink.write(head + ",\n\"groups\":[")) {
        return false;
    }
    QByteArray separator = "\n";
    for (auto entry = report.duplicates.cbegin(); entry != report.duplicates.cend(); ++entry) {
        if (!sink.write(separator + text(groupObject(entry.key(), entry.value(), report)))) {
            return false;
        }
        separator = ",\n";
    }
    return sink.write("]") &&
           (!report.parts ||
            writeList(sink, "parts", report.parts->entries,
                      [](const PartEntry& entry) { return text(partObject(entry)); })) &&
           writeList(sink, "failures", report.failures, reasonText<search::FailedFile>) &&
           writeList(sink, "skipped", report.skipped, reasonText<fingerprint::SkippedEntry>) &&
           writeList(sink, "notSearched", report.notSearched,
                     [](const UnsearchedEnding& entry) {
                         return text({{QStringLiteral("ending"), entry.ending},
                                      {QStringLiteral("count"), entry.count}});
                     }) &&
           sink.write("}\n");
}

} // namespace cli
