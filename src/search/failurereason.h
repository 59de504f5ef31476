#pragma once

#include "fingerprint/fingerprintcalculation.h"

#include <QString>

namespace search {

/**
 * Why a file has no fingerprint, in words for people, followed by FFmpeg's own in parentheses:
 * "no audio in it (Stream not found)". \a isEmpty: the file has no content at all.
 * Requires: \a report is that of a failed calculation that was not stopped. Thread: Any thread.
 */
QString failureReason(const fingerprint::CalculationReport& report, bool isEmpty);

/**
 * Whether \a reason is that of a file that is whole and too short for a fingerprint. Knows the
 * words of version 1.1.0, too, which stores keep.
 * Thread: Any thread.
 */
bool isTooShort(const QString& reason);

} // namespace search
