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
 * The properties of the files of both lists. A later record of the same path replaces an earlier
 * one; \a second counts as later than \a first. Reentrant.
 */
AudioInfoMap buildAudioInfoMap(const QList<FingerprintRecord>& first,
                               const QList<FingerprintRecord>& second);

} // namespace compare
