#pragma once

#include "compare/errorbound.h"
#include "fingerprint/fingerprintrecord.h"

#include <QList>

#include <span>
#include <stop_token>
#include <vector>

namespace search {

/**
 * The bound pays off where each record is compared with as many others: entering a record takes as
 * long as some twenty comparisons.
 */
inline constexpr qint64 kLeastPairsPerRecord = 32;

/**
 * The counted blocks of many records, and how many errors each allows, by which pairs are ruled out
 * before they are compared. A record is named by its place in a list of positions. Takes about 37 %
 * of the memory of the fingerprints.
 */
class BoundIndex
{
public:
    /**
     * Counts the blocks of \a records at \a positions on \a threadCount threads. A requested \a
     * stop leaves the index incomplete.
     * Requires: a threshold of 1 to 100. Errors: throws std::bad_alloc.
     * Thread: Any thread, blocking.
     */
    BoundIndex(const QList<FingerprintRecord>& records, std::span<const int> positions,
               int threshold, int threadCount, const std::stop_token& stop);

    // cppcheck-suppress functionStatic ; it does not see members of arrays
    compare::CountedBlocks blocksAt(std::size_t place) const;
    /**
     * The most errors of a duplicate of the record at \a place, by its length; of two records the
     * smaller number counts. The largest number if the record is too long to be bounded.
     */
    std::uint32_t allowedAt(std::size_t place) const
    {
        return m_allowed[place];
    }

private:
    std::array<std::vector<compare::BitCounts>, compare::kBoundLevels.size()> m_blocks;
    /** Where the blocks of each place begin; one more at the end. */
    std::array<std::vector<std::size_t>, compare::kBoundLevels.size()> m_begins;
    std::vector<std::uint32_t> m_allowed;
};

/** The most errors that \a wordCount words allow; see BoundIndex::allowedAt(). Thread: Any thread.
 */
std::uint32_t allowedErrors(qsizetype wordCount, int threshold);

/**
 * Rules out pairs of one tile of records after another.
 *
 * If the threshold is low or the fingerprints are noise, the bound rules out little and costs more
 * than it saves. Then it is not used for the rest of the tile and for some of the next tiles, twice
 * as many each time.
 *
 * Thread: Reentrant: one object per thread.
 */
class TileBound
{
public:
    /** Uses \a index, which outlives this object; null rules nothing out. */
    TileBound(const BoundIndex* index, int threshold)
        : m_index(index)
        , m_threshold(threshold)
    {
    }

    /** Begins the tile of \a records at the positions \a tile, for about \a pairs questions. */
    void enter(const QList<FingerprintRecord>& records, std::span<const int> tile, qint64 pairs);

    /** Whether the \a k-th record of the tile and the one at \a place cannot be duplicates. */
    bool rulesOut(std::size_t k, std::size_t place);

    /** The number of pairs that were ruled out in all tiles. */
    qint64 ruledOutPairs() const
    {
        return m_ruledOutPairs;
    }

private:
    void countAnswer(bool ruledOut);

    const BoundIndex* m_index;
    int m_threshold;
    std::vector<compare::CountEnvelope> m_envelopes;
    std::vector<std::uint32_t> m_allowed;
    bool m_isAsked = false;
    qint64 m_ruledOutPairs = 0;
    int m_asked = 0;
    int m_ruledOut = 0;
    int m_tilesToSkip = 0;
    int m_nextSkip = 1;
};

} // namespace search
