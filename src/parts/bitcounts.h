#pragma once

#include <QtGlobal>

#include <array>
#include <span>

namespace parts {

/** In how many words each of the 32 bits is set, the lowest bit first. */
using BitCounts = std::array<qint64, 32>;

/**
 * The number of bits in which two words differ, summed up in ever wider fields of the word. On a
 * processor of which nothing is known std::popcount() is a call, which took most of the time.
 * Thread: Any thread.
 */
constexpr int differingBits(quint32 word, quint32 other)
{
    quint32 sums = word ^ other;
    sums -= (sums >> 1U) & 0x55555555U;
    sums = (sums & 0x33333333U) + ((sums >> 2U) & 0x33333333U);
    sums = (sums + (sums >> 4U)) & 0x0F0F0F0FU;
    return static_cast<int>((sums * 0x01010101U) >> 24U);
}

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
