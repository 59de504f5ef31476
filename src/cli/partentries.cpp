#include "cli/partentries.h"

#include "parts/partextent.h"

#include <QStringList>

#include <cmath>

namespace cli {

namespace {

using parts::PartRelation;
using parts::SharedPart;

/** Less than this at an end of a file is no difference: ends of parts are certain to half of it. */
constexpr double kNoticedSeconds = 1.0;

double lengthOf(const FingerprintRecord& record)
{
    const auto& [path, words, durationMs, sampleRateHz, channels] = record;
    return durationMs > 0 ? durationMs / 1000.0 : parts::secondsOfWords(words.size());
}

int wordCount(const FingerprintRecord& record)
{
    return static_cast<int>(std::get<1>(record).size());
}

PartEntry entryOf(const SharedPart& part, const QList<FingerprintRecord>& records)
{
    const FingerprintRecord& first = records.at(part.first);
    const FingerprintRecord& second = records.at(part.second);
    const parts::PartExtent extent =
        parts::extentOf(part.stretch, wordCount(first), wordCount(second));
    PartEntry entry{std::get<0>(first),
                    std::get<0>(second),
                    {lengthOf(first), extent.firstBegin, extent.seconds},
                    {lengthOf(second), extent.secondBegin, extent.seconds},
                    part.stretch.similarity()};
    entry.relation = parts::relationOf(entry.inFirst, entry.inSecond);
    return entry;
}

bool isSamePair(const SharedPart& left, const SharedPart& right)
{
    return left.first == right.first && left.second == right.second;
}

QString secondsText(double seconds)
{
    return QString::number(seconds, 'f', 1);
}

/** How the files of one recording differ at one end; nothing if they do not. */
QStringList differenceText(double first, double second, const QString& place)
{
    if (first >= kNoticedSeconds && second >= kNoticedSeconds) {
        return {QStringLiteral("%1 s and %2 s of their own %3")
                    .arg(secondsText(first), secondsText(second), place)};
    }
    if (std::max(first, second) < kNoticedSeconds) {
        return {};
    }
    return {QStringLiteral("the %1 has %2 s more %3")
                .arg(first > second ? QStringLiteral("first") : QStringLiteral("second"),
                     secondsText(std::abs(first - second)), place)};
}

} // namespace

QList<PartEntry> partEntries(const QList<SharedPart>& parts,
                             const QList<FingerprintRecord>& records)
{
    QList<PartEntry> entries;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        PartEntry entry = entryOf(parts.at(i), records);
        const bool isOnly = (i == 0 || !isSamePair(parts.at(i - 1), parts.at(i))) &&
                            (i + 1 == parts.size() || !isSamePair(parts.at(i), parts.at(i + 1)));
        if (!isOnly && entry.relation == PartRelation::SameRecording) {
            entry.relation = PartRelation::Partial;
        }
        entries.append(entry);
    }
    return entries;
}

qint64 millisecondsOf(double seconds)
{
    return std::llround(seconds * 1e3);
}

QString placeText(double seconds)
{
    const qint64 tenths = std::llround(seconds * 10.0);
    return QStringLiteral("%1:%2:%3.%4")
        .arg(tenths / 36000, 2, 10, QLatin1Char('0'))
        .arg(tenths / 600 % 60, 2, 10, QLatin1Char('0'))
        .arg(tenths / 10 % 60, 2, 10, QLatin1Char('0'))
        .arg(tenths % 10);
}

QLatin1String relationName(parts::PartRelation relation)
{
    switch (relation) {
    case PartRelation::Partial:
        break;
    case PartRelation::FirstInSecond:
        return QLatin1String("firstInSecond");
    case PartRelation::SecondInFirst:
        return QLatin1String("secondInFirst");
    case PartRelation::SameRecording:
        return QLatin1String("sameRecording");
    }
    return QLatin1String("partial");
}

QString relationText(const PartEntry& entry)
{
    switch (entry.relation) {
    case PartRelation::Partial:
        return {};
    case PartRelation::FirstInSecond:
        return QStringLiteral("the first is contained in the second");
    case PartRelation::SecondInFirst:
        return QStringLiteral("the second is contained in the first");
    case PartRelation::SameRecording:
        break;
    }
    QStringList texts = {QStringLiteral("the same recording")};
    texts += differenceText(entry.inFirst.before(), entry.inSecond.before(),
                            QStringLiteral("at the start"));
    texts += differenceText(entry.inFirst.behind(), entry.inSecond.behind(),
                            QStringLiteral("at the end"));
    return texts.join(QStringLiteral(", "));
}

} // namespace cli
