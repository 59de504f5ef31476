#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>
#include <QMap>
#include <QString>

#include <tuple>

/** File path -> (duration in milliseconds, sample rate in Hz, channel count). */
using AudioInfoMap = QMap<QString, std::tuple<int, int, int>>;

namespace compare {

/**
 * Returns the properties of the files of both lists. A later record replaces an earlier one of the
 * same path; \a second is later than \a first. Thread: Any thread.
 */
AudioInfoMap buildAudioInfoMap(const QList<FingerprintRecord>& first,
                               const QList<FingerprintRecord>& second);

} // namespace compare
