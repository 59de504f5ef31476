#pragma once

#include <QtGlobal>

#include <span>

namespace fingerprint {

/**
 * Whether the fingerprint \a words hardly changes from word to word: silence, direct current, hum,
 * and tones. Such fingerprints are alike at any length, whatever they are of. docs/accuracy.md has
 * the measurement behind the bound. False for no words.
 * Thread: Any thread.
 */
bool isFeatureless(std::span<const quint32> words);

} // namespace fingerprint
