#pragma once

#include <QtGlobal>

#include <span>
#include <vector>

/** Finds the stretches that two recordings have in common at any place. */
namespace parts {

/** The words of a fingerprint, of which a second has about eight. */
using Words = std::span<const quint32>;

/** Of the 32 bits of a word, at most so many differ on average where two fingerprints are alike. */
inline constexpr int kMostErrorsPerWord = 8;

/** Where two fingerprints are alike. */
struct Stretch
{
    /** Its first word in each. */
    int firstBegin = 0;
    int secondBegin = 0;
    int wordCount = 0;
    /** The number of bits that differ between the words of the two. */
    int errors = 0;

    bool operator==(const Stretch&) const = default;

    /** The later \a secondBegin is than \a firstBegin, in words. */
    int shift() const
    {
        return secondBegin - firstBegin;
    }
    /** How much the words are more alike than they have to be: grows with length and likeness. */
    int score() const
    {
        return wordCount * kMostErrorsPerWord - errors;
    }
    /** The similarity of its words in percent, without shifting them; see compare/similarity.h. */
    int similarity() const;
};

/**
 * The stretches of at least \a leastWords words where the word i of \a first and the word i + \a
 * shift of \a second are alike, from left to right.
 *
 * Each is as long as it can be: one more word, or a run of them, at either end would add more
 * errors than kMostErrorsPerWord allows. Up to three seconds that differ do not end a stretch that
 * continues behind them. Stretches do not overlap. Silence, tones and noise have none, since they are
 * like any other at any place.
 *
 * Requires: \a leastWords above 0. Errors: throws std::bad_alloc. Thread: Any thread.
 */
std::vector<Stretch> stretchesAt(Words first, Words second, int shift, int leastWords);

/** The words of \a stretch from \a from on, \a count of them, with their own errors. */
Stretch pieceOf(const Stretch& stretch, int from, int count, Words first, Words second);

} // namespace parts
