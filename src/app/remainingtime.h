#pragma once

#include <QString>

#include <optional>

/** How long a stage of a run still takes, from its own progress. Thread: Any thread. */
namespace remainingTime {

/** Before this there is no estimate: the first items say little about the others. */
inline constexpr qint64 kFirstEstimateMs = 5000;

/**
 * Returns the time that is left after \a done of \a total items took \a elapsedMs, at the mean pace
 * since the stage began, in milliseconds. No value before kFirstEstimateMs or without an item done.
 */
std::optional<qint64> estimateMs(qint64 elapsedMs, qint64 done, qint64 total);

/**
 * Returns \a remainingMs in whole minutes, to show after \a shownMinutes. That is returned again
 * while it is right to 45 seconds or a tenth, so that the text does not waver between neighbours.
 */
int steadyMinutes(qint64 remainingMs, std::optional<int> shownMinutes);

/** "less than a minute left", "about 14 minutes left", from 100 minutes on "about 2 hours left". */
QString text(int minutes);

} // namespace remainingTime
