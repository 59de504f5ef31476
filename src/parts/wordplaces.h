#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>

#include <vector>

namespace parts {

/** Where a word is. */
struct WordPlace
{
    quint32 word = 0;
    /** The position of its record. */
    int record = 0;
    /** Its position in the fingerprint. */
    int position = 0;
    /** The word kContextDistance later, by which most chance seeds are ruled out; 0 if none. */
    quint32 context = 0;
};

/** How far context is, in words: far enough to differ from the word itself. */
inline constexpr int kContextDistance = 12;

/** A range of words, both ends included. */
struct WordRange
{
    quint32 first = 0;
    quint32 last = 0;

    bool operator==(const WordRange&) const = default;
};

/**
 * Ranges that together are all words, each with at most \a mostPlaces places in \a records, unless
 * a 65,536th part of all words has more. Errors: throws std::bad_alloc. Thread: Any thread.
 */
std::vector<WordRange> wordRanges(const QList<FingerprintRecord>& records, qsizetype mostPlaces);

/**
 * Replaces \a places by those of the words of \a records in \a range, sorted by word, record and
 * position. Of equal words that follow each other only the first has a place.
 * Errors: throws std::bad_alloc. Thread: Any thread.
 */
void collectPlaces(const QList<FingerprintRecord>& records, WordRange range,
                   std::vector<WordPlace>& places);

} // namespace parts
