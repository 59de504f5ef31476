#include "cli/report.h"
#include "fingerprint/fingerprintcalculation.h"
#include "results/rowtexts.h"

#include <QDateTime>

#include <cmath>

namespace cli {

namespace {

QString secondsText(qint64 durationMs)
{
    return QString::number(static_cast<double>(durationMs) / 1000, 'f', 1);
}

/** What is known of the codec, size and time of a file, for the end of its line. */
QString properties(const fingerprint::FileFacts& facts)
{
    QStringList known;
    if (!facts.codec.isEmpty()) {
        known << (facts.container.isEmpty()
                      ? facts.codec
                      : QStringLiteral("%1 in %2").arg(facts.codec, facts.container))
              << (facts.isLossless ? QStringLiteral("lossless") : QStringLiteral("lossy"));
    }
    if (facts.bitsPerSample > 0) {
        known << QStringLiteral("%1 bit").arg(facts.bitsPerSample);
    }
    if (facts.bitRate > 0) {
        known << QStringLiteral("%1 bit/s").arg(facts.bitRate);
    }
    if (facts.sizeBytes > 0) {
        known << QStringLiteral("%1 bytes").arg(facts.sizeBytes)
              << QDateTime::fromMSecsSinceEpoch(facts.modifiedMs)
                     .toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    }
    return known.isEmpty() ? QString()
                           : QStringLiteral("  [%1]").arg(known.join(QStringLiteral("; ")));
}

QString partialMark(const fingerprint::FileFacts& facts)
{
    QStringList reasons;
    if (facts.statedMs >= 0 && facts.decodedMs >= 0) {
        reasons << QStringLiteral("%1 of %2 s")
                       .arg(secondsText(facts.decodedMs), secondsText(facts.statedMs));
    }
    if (!facts.breakReason.isEmpty()) {
        reasons << printable(facts.breakReason);
    }
    return reasons.isEmpty()
               ? QStringLiteral("  [partial]")
               : QStringLiteral("  [partial: %1]").arg(reasons.join(QStringLiteral("; ")));
}

/** What speaks against a file, for the end of its line. */
QString marks(const fingerprint::FileFacts& facts)
{
    QString text;
    if (facts.completeness == fingerprint::Completeness::Partial) {
        text += partialMark(facts);
    }
    if (facts.isFeatureless) {
        text += QStringLiteral("  [featureless]");
    }
    return text;
}

/** Joins the cells of a row, with the name last, since names differ most in length. */
QByteArray line(const QStringList& cells, const QString& indentation,
                const fingerprint::FileFacts& facts)
{
    return QStringLiteral("%1%2  %3  %4 Hz  %5 ch  %6%7\n")
        .arg(indentation, cells.at(1).rightJustified(4), cells.at(2), cells.at(3).rightJustified(6),
             cells.at(4).rightJustified(2), printable(cells.at(0)),
             properties(facts) + marks(facts))
        .toUtf8();
}

QString incompleteFilesText(const Report& report)
{
    QString text;
    if (const qsizetype partial = report.countOf(fingerprint::Completeness::Partial)) {
        text += QStringLiteral("Files of which only a part could be read: %1\n").arg(partial);
    }
    if (const qsizetype unknown = report.countOf(fingerprint::Completeness::Unknown)) {
        text += QStringLiteral("Files read by an older version, which may be incomplete: %1\n")
                    .arg(unknown);
    }
    return text;
}

/** The part of \a entry, and what it makes of its files. */
QString partText(const PartEntry& entry)
{
    const auto percent = [](double share) { return QString::number(std::lround(share * 100.0)); };
    QString text =
        QStringLiteral("    %1%  %2 from %3 and from %4, %5 % and %6 % of the files")
            .arg(QString::number(entry.similarity).rightJustified(3),
                 placeText(entry.inFirst.partSeconds), placeText(entry.inFirst.beginSeconds),
                 placeText(entry.inSecond.beginSeconds), percent(entry.inFirst.share()),
                 percent(entry.inSecond.share()));
    const QString relation = relationText(entry);
    if (!relation.isEmpty()) {
        text += QStringLiteral("  [%1]").arg(relation);
    }
    return text + QLatin1Char('\n');
}

/** The pairs of files with a part in common, each with its parts. */
bool writeParts(ReportSink& sink, const QList<PartEntry>& entries)
{
    for (qsizetype i = 0; i < entries.size(); ++i) {
        const PartEntry& entry = entries.at(i);
        const auto isOfSamePair = [&](qsizetype other) {
            return other >= 0 && other < entries.size() && entries.at(other).first == entry.first &&
                   entries.at(other).second == entry.second;
        };
        QString lines;
        if (!isOfSamePair(i - 1)) {
            lines += printable(entry.first) + QLatin1Char('\n') + printable(entry.second) +
                     QLatin1Char('\n');
        }
        lines += partText(entry);
        if (!isOfSamePair(i + 1)) {
            lines += QLatin1Char('\n');
        }
        if (!sink.write(lines.toUtf8())) {
            return false;
        }
    }
    return true;
}

QString partCountText(const PartList& parts)
{
    QString text = QStringLiteral("Parts of %1 s or more in common: %2\n")
                       .arg(parts.leastLength)
                       .arg(parts.entries.size());
    if (parts.commonWords > 0) {
        text += QStringLiteral("Sounds left out of the search for parts, since they are in more "
                               "than a thousand places: %1\n")
                    .arg(parts.commonWords);
    }
    return text;
}

} // namespace

bool writeTree(ReportSink& sink, const Report& report)
{
    for (auto entry = report.duplicates.cbegin(); entry != report.duplicates.cend(); ++entry) {
        QByteArray lines = line(results::referenceCells(entry.key(), report.audioInfo), {},
                                report.facts.value(entry.key()));
        for (const auto& [path, similarity] : entry.value()) {
            lines += line(results::duplicateCells(path, similarity, report.audioInfo),
                          QStringLiteral("    "), report.facts.value(path));
        }
        if (!sink.write(lines + '\n')) {
            return false;
        }
    }
    if (report.parts && !writeParts(sink, report.parts->entries)) {
        return false;
    }
    const qsizetype tooShort = report.tooShortForFingerprint();
    QString end = QStringLiteral("%1\nFiles that could not be read as audio: %2\n")
                      .arg(results::duplicateCountText(report.duplicateCount()))
                      .arg(report.failures.size() - tooShort);
    if (report.parts) {
        end += partCountText(*report.parts);
    }
    if (tooShort > 0) {
        end += QStringLiteral("Files too short for a fingerprint, under %1 seconds: %2\n")
                   .arg(fingerprint::kShortestMs / 1000)
                   .arg(tooShort);
    }
    if (report.durations.least) {
        end += QStringLiteral("Files shorter than %1 s that were left out: %2\n")
                   .arg(*report.durations.least)
                   .arg(report.tooShortCount);
    }
    if (report.durations.most) {
        end += QStringLiteral("Files longer than %1 s that were left out: %2\n")
                   .arg(*report.durations.most)
                   .arg(report.tooLongCount);
    }
    end += incompleteFilesText(report);
    end += QStringLiteral("Files searched: %1\n").arg(report.fileCount);
    if (!report.skipped.isEmpty()) {
        end += QStringLiteral("Files and folders skipped, which --verbose names: %1\n")
                   .arg(report.skipped.size());
    }
    for (const auto& [ending, count] : report.notSearched) {
        end += QStringLiteral("%1 .%2 %3 not searched: --ext +%2\n")
                   .arg(count)
                   .arg(printable(ending),
                        count == 1 ? QStringLiteral("file was") : QStringLiteral("files were"));
    }
    return sink.write(end.toUtf8());
}

} // namespace cli
