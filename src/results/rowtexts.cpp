#include "results/rowtexts.h"

#include <QDateTime>
#include <QTimeZone>

#include <tuple>

namespace results {

namespace {

QStringList cells(const QString& path, const QString& similarity, const AudioInfoMap& audioInfo)
{
    const auto [durationMs, sampleRateHz, channels] = audioInfo.value(path);
    return {path, similarity, durationText(durationMs), QString::number(sampleRateHz),
            QString::number(channels)};
}

} // namespace

QString durationText(int durationMs)
{
    constexpr int kMsPerSecond = 1000;
    return QDateTime::fromSecsSinceEpoch(durationMs / kMsPerSecond, QTimeZone::utc())
        .toString(QStringLiteral("hh:mm:ss"));
}

QStringList referenceCells(const QString& path, const AudioInfoMap& audioInfo)
{
    return cells(path, QString(), audioInfo);
}

QStringList duplicateCells(const QString& path, int similarity, const AudioInfoMap& audioInfo)
{
    return cells(path, QString::number(similarity) + QLatin1Char('%'), audioInfo);
}

QString duplicateCountText(qsizetype count)
{
    const QString number = count == 0 ? QStringLiteral("No") : QString::number(count);
    const QString plural = count == 1 ? QString() : QStringLiteral("s");
    return number + QStringLiteral(" duplicate audio file") + plural + QStringLiteral(" found.");
}

} // namespace results
