#pragma once

#include "fingerprint/fingerprintcalculation.h"

#include <QList>
#include <QString>

#include <stop_token>
#include <tuple>

/**
 * What fingerprinting one file gave, in this order:
 *   0  path                as discovery returned it
 *   1  fingerprint words   in Chromaprint's order; empty when fingerprinting failed
 *   2  duration            milliseconds; -1 when neither stream nor container tells it, 0 on
 * failure 3  sample rate         Hz, of the source stream; 0 on failure 4  channels            of
 * the source stream; 0 on failure
 */
using FingerprintRecord = std::tuple<QString, QList<quint32>, int, int, int>;

namespace fingerprint {

/** A record with how its calculation ended. */
struct FingerprintOutcome
{
    FingerprintRecord record;
    CalculationReport report;
};

/**
 * Fingerprints the file at \a path and prints nothing.
 *
 * Errors: a file that cannot be opened, decoded or fingerprinted gives the record
 * (path, empty, 0, 0, 0), with the reason in the report, as does a stop requested through \a stop
 * before the end. Throws std::bad_alloc.
 * Thread: any thread, blocking. Reentrant.
 */
FingerprintOutcome fingerprintFile(const QString& path, const std::stop_token& stop = {});

/**
 * The record of the file at \a path, for callers that want the command-line manner.
 *
 * Errors: a file that cannot be opened, decoded or fingerprinted gives the record
 * (path, empty, 0, 0, 0); the reason goes to standard error and "ERROR" to the debug log.
 * A stop requested through \a stop before the end gives the same record, silently: it stands for
 * nothing and belongs to a run whose result nobody reads.
 * Thread: any thread, blocking. Reentrant.
 */
FingerprintRecord recordForFile(const QString& path, const std::stop_token& stop = {});

} // namespace fingerprint
