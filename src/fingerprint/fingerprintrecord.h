#pragma once

#include <QList>
#include <QString>

#include <tuple>

/**
 * The result of fingerprinting one file, in this order:
 *   0  path               as discovery returned it
 *   1  fingerprint words  in Chromaprint's order; empty on failure
 *   2  duration           in milliseconds; -1 when the file has none; 0 on failure
 *   3  sample rate        in Hz, of the source stream; 0 on failure
 *   4  channels           of the source stream; 0 on failure
 */
using FingerprintRecord = std::tuple<QString, QList<quint32>, int, int, int>;
