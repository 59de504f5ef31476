#include "parts/bitcounts.h"

#include <algorithm>

namespace parts {

namespace {

constexpr unsigned kBitsOfByte = 8;
constexpr unsigned kBytes = std::tuple_size_v<BitCounts> / kBitsOfByte;

/** The bits of each byte, as the lowest bits of eight bytes. */
constexpr std::array<quint64, 256> spreadBits()
{
    std::array<quint64, 256> spread = {};
    for (unsigned byte = 0; byte < spread.size(); ++byte) {
        for (unsigned bit = 0; bit < kBitsOfByte; ++bit) {
            spread[byte] |= quint64{(byte >> bit) & 1U} << (bit * kBitsOfByte);
        }
    }
    return spread;
}

constexpr std::array<quint64, 256> kSpreadBits = spreadBits();

} // namespace

BitCounts setBitsOf(std::span<const quint32> words)
{
    // As many as the bytes of a sum can count.
    constexpr std::size_t kWordsAtOnce = 255;
    BitCounts counts = {};
    while (!words.empty()) {
        const std::size_t count = std::min(words.size(), kWordsAtOnce);
        std::array<quint64, kBytes> sums = {};
        for (const quint32 word : words.first(count)) {
            for (unsigned byte = 0; byte < kBytes; ++byte) {
                sums[byte] += kSpreadBits[(word >> (byte * kBitsOfByte)) & 0xFFU];
            }
        }
        for (unsigned bit = 0; bit < counts.size(); ++bit) {
            const quint64 sum = sums[bit / kBitsOfByte];
            counts[bit] += static_cast<qint64>((sum >> (bit % kBitsOfByte * kBitsOfByte)) & 0xFFU);
        }
        words = words.subspan(count);
    }
    return counts;
}

qint64 chanceErrorsTimesWords(const BitCounts& first, const BitCounts& second, qint64 wordCount)
{
    qint64 errors = 0;
    for (std::size_t bit = 0; bit < first.size(); ++bit) {
        errors += first[bit] * (wordCount - second[bit]);
        errors += second[bit] * (wordCount - first[bit]);
    }
    return errors;
}

} // namespace parts
