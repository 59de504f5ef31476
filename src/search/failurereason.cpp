#include "search/failurereason.h"

namespace search {

namespace {

using fingerprint::FailureCause;

constexpr int kShortestSeconds = fingerprint::kShortestMs / 1000;

QString tooShort()
{
    return QStringLiteral("too short: under %1 seconds").arg(kShortestSeconds);
}

QString plainWords(FailureCause cause)
{
    switch (cause) {
    case FailureCause::NotMedia:
        return QStringLiteral("damaged, or not a media file");
    case FailureCause::NoAudio:
        return QStringLiteral("no audio in it");
    case FailureCause::TooShort:
        return tooShort();
    case FailureCause::CutShort:
        return QStringLiteral("damaged: under %1 seconds of it can be decoded")
            .arg(kShortestSeconds);
    case FailureCause::Other:
        break;
    }
    return {};
}

/** The end of \a message in parentheses, with a space before it; empty if it has none. */
QString ffmpegWords(const QString& message)
{
    const qsizetype begin = message.indexOf(QLatin1String(" ("));
    return begin >= 0 && message.endsWith(QLatin1Char(')')) ? message.sliced(begin) : QString();
}

} // namespace

QString failureReason(const fingerprint::CalculationReport& report, bool isEmpty)
{
    const QString last =
        QString::fromUtf8(report.messages.value(report.messages.size() - 1, "Unknown error"));
    if (report.cause == FailureCause::Other) {
        return last;
    }
    // Where a file breaks off, the break is the first message.
    return (isEmpty ? QStringLiteral("empty file") : plainWords(report.cause)) +
           ffmpegWords(QString::fromUtf8(report.messages.value(0)));
}

bool isTooShort(const QString& reason)
{
    return reason == tooShort() || reason == QLatin1String("Empty fingerprint") ||
           reason == QLatin1String("Not enough audio data");
}

} // namespace search
