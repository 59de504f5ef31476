#pragma once

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

/**
 * Fingerprints the file at \a path.
 *
 * Errors: a file that cannot be opened, decoded or fingerprinted gives the record
 * (path, empty, 0, 0, 0); the reason goes to standard error and "ERROR" to the debug log.
 * A stop requested through \a stop before the end gives the same record, silently: it stands for
 * nothing and belongs to a run whose result nobody reads.
 * Thread: any thread, blocking. Reentrant.
 */
FingerprintRecord recordForFile(const QString& path, const std::stop_token& stop = {});

} // namespace fingerprint
