#pragma once

#include <QtGlobal>

#include <array>
#include <span>

namespace parts {

/** In how many words each of the 32 bits is set, the lowest bit first. */
using BitCounts = std::array<qint64, 32>;

/** In how many of \a words each bit is set. Thread: Any thread. */
BitCounts setBitsOf(std::span<const quint32> words);

/**
 * How many bits would differ between words of \a first and of \a second that do not belong together,
 * over \a wordCount pairs of words, times \a wordCount: an integer. Both count \a wordCount words.
 *
 * Two independent bits that are set with probabilities p and q differ with p (1 - q) + q (1 - p).
 * Thread: Any thread.
 */
qint64 chanceErrorsTimesWords(const BitCounts& first, const BitCounts& second, qint64 wordCount);

} // namespace parts
