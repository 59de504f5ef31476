#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>

#include <compare>
#include <functional>
#include <stop_token>
#include <vector>

namespace parts {

/** Two records, and by how many words what they share begins later in the second. */
struct Alignment
{
    /** Positions in the list of records; the first is the smaller one. */
    int first = 0;
    int second = 0;
    int shift = 0;

    auto operator<=>(const Alignment&) const = default;
};

/** The options of findAlignments(). */
struct AlignmentOptions
{
    /** The words of the shortest stretch that is searched for. */
    int leastWords = 1;
    /** If above 0, only records before this position are aligned with those from it on. */
    qsizetype groupSize = 0;
    int threadCount = 1;
    /** If set, called about five times a second and at the end, with the share done of 1. */
    std::function<void(double done)> progress;
    /** A requested stop is answered within a second; the result is incomplete. */
    std::stop_token stop;
    /** So many words are sorted at a time, in 16 bytes each: fewer take more passes. For tests. */
    qsizetype placesAtOnce = qsizetype(24) << 20;
    /**
     * Words in more places are left out: those of silence and of single tones. Of a thousand copies
     * of one recording all pairs are still found. For tests.
     */
    qsizetype mostPlaces = 1024;
};

/** The result of findAlignments(). */
struct FoundAlignments
{
    /** In ascending order, each once. */
    std::vector<Alignment> alignments;
    /** The number of seeds, which are pairs of equal words, that were looked at. */
    qint64 seeds = 0;
    /** The words that are in too many places to be of use, and the number of these places. */
    qint64 commonWords = 0;
    qint64 commonPlaces = 0;
};

/**
 * The alignments at which \a records may share a stretch: where the two have an equal word, and the
 * three seconds around it are alike, and half of the shortest stretch before or behind it. A stretch
 * of 20 seconds that was encoded again has fifteen equal words and more.
 *
 * The words of all records are sorted, one range of words after another, so that memory stays
 * bounded. Words that are in many places are left out, and of equal words that follow each other
 * all but the first: silence and tones repeat them. The order of the records has no influence on
 * which pairs of them are aligned.
 *
 * Errors: throws std::bad_alloc, and std::system_error if no thread can be started.
 * Thread: Any thread, blocking. \a options.progress is called in it.
 */
FoundAlignments findAlignments(const QList<FingerprintRecord>& records,
                               const AlignmentOptions& options);

} // namespace parts
