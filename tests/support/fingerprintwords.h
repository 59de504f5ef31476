#pragma once

#include <QList>

#include <algorithm>
#include <random>

namespace support {

using Words = QList<unsigned int>;

/** \a count words as those of music are, as far as their bits go: each set half of the time. */
inline Words randomWords(std::mt19937& random, qsizetype count)
{
    Words words(count);
    std::generate(words.begin(), words.end(),
                  [&random] { return static_cast<unsigned int>(random()); });
    return words;
}

/** \a count words of which neighbours differ in about four bits, as those of music do. */
inline Words walkingWords(std::mt19937& random, qsizetype count)
{
    Words words(count);
    auto word = static_cast<unsigned int>(random());
    for (unsigned int& each : words) {
        for (int flip = 0; flip < 4; ++flip) {
            word ^= 1U << (random() % 32);
        }
        each = word;
    }
    return words;
}

/** \a words with each bit flipped at the given probability, in 1/256. */
inline Words withErrors(std::mt19937& random, Words words, unsigned probability)
{
    for (unsigned int& word : words) {
        for (int bit = 0; bit < 32; ++bit) {
            if ((random() & 0xFFU) < probability) {
                word ^= 1U << bit;
            }
        }
    }
    return words;
}

} // namespace support
