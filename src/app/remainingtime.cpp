#include "app/remainingtime.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

constexpr qint64 kMsPerMinute = 60'000;
constexpr int kMinutesPerHour = 60;
/** Up to here two digits of minutes are shown, which no one reads as hours. */
constexpr int kFirstMinutesInHours = 100;
/** More than half a minute, at which rounding would change the text. */
constexpr qint64 kToleranceMs = 45'000;
constexpr qint64 kToleranceDivisor = 10;

QString translated(const char* text)
{
    return QCoreApplication::translate("remainingTime", text);
}

} // namespace

std::optional<qint64> remainingTime::estimateMs(qint64 elapsedMs, qint64 done, qint64 total)
{
    if (elapsedMs < kFirstEstimateMs || done <= 0) {
        return std::nullopt;
    }
    const double perItem = static_cast<double>(elapsedMs) / static_cast<double>(done);
    return static_cast<qint64>(perItem * static_cast<double>(std::max(total - done, qint64{0})));
}

int remainingTime::steadyMinutes(qint64 remainingMs, std::optional<int> shownMinutes)
{
    if (shownMinutes) {
        const qint64 shownMs = *shownMinutes * kMsPerMinute;
        const qint64 tolerance = std::max(kToleranceMs, shownMs / kToleranceDivisor);
        if (std::abs(remainingMs - shownMs) <= tolerance) {
            return *shownMinutes;
        }
    }
    const qint64 minutes = (remainingMs + kMsPerMinute / 2) / kMsPerMinute;
    return static_cast<int>(std::min(minutes, qint64{std::numeric_limits<int>::max()}));
}

QString remainingTime::text(int minutes)
{
    if (minutes < 1) {
        return translated("less than a minute left");
    }
    if (minutes == 1) {
        return translated("about 1 minute left");
    }
    if (minutes < kFirstMinutesInHours) {
        return translated("about %1 minutes left").arg(QLocale().toString(minutes));
    }
    const int hours = minutes / kMinutesPerHour + (minutes % kMinutesPerHour >= 30 ? 1 : 0);
    return translated("about %1 hours left").arg(QLocale().toString(hours));
}
