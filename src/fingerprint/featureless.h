#pragma once

#include <QList>
#include <QtGlobal>

namespace fingerprint {

/**
 * Whether the fingerprint \a words hardly changes from word to word: silence, direct current, hum,
 * and tones. Such fingerprints are alike at any length, whatever they are of. docs/accuracy.md has
 * the measurement behind the bound. False for no words.
 * Thread: Any thread.
 */
bool isFeatureless(const QList<quint32>& words);

} // namespace fingerprint
