#pragma once

#include "compare/errorbound.h"
#include "fingerprint/fingerprintrecord.h"

#include <QList>

#include <span>
#include <stop_token>
#include <vector>

namespace search {

/**
 * The counted blocks of many records, and how many errors each allows: what rules pairs out before
 * they are compared. Records are known by their places in a list of positions. Takes about 37 % of
 * the memory of their fingerprints.
 */
class BoundIndex
{
public:
    /**
     * Counts the blocks of \a records at \a positions on \a threadCount threads. A requested \a
     * stop leaves it unfinished. Requires: a threshold of 1 to 100. Errors: throws std::bad_alloc.
     */
    BoundIndex(const QList<FingerprintRecord>& records, std::span<const int> positions,
               int threshold, int threadCount, const std::stop_token& stop);

    // cppcheck-suppress functionStatic ; it does not see members of arrays
    compare::CountedBlocks blocksAt(std::size_t place) const;
    /**
     * The most errors that a pair with the record at \a place may have and be a duplicate, as far
     * as its own length goes: the shorter one decides. Of one that is too long to be bounded, all.
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

/** The largest number of errors that \a wordCount words allow; see BoundIndex::allowedAt(). */
std::uint32_t allowedErrors(qsizetype wordCount, int threshold);

/**
 * Rules pairs of one tile of records out, tile after tile, for one thread.
 *
 * Where little is ruled out, because the threshold is low or the fingerprints are noise, asking
 * costs more than it saves: then the rest of the tile is not asked for, nor are some of the next
 * tiles, twice as many each time.
 */
class TileBound
{
public:
    /** Asks \a index, which outlives this object; null rules nothing out. */
    TileBound(const BoundIndex* index, int threshold)
        : m_index(index)
        , m_threshold(threshold)
    {
    }

    /** Enters the tile of the records of \a records at \a tile; \a pairs will be asked for. */
    void enter(const QList<FingerprintRecord>& records, std::span<const int> tile, qint64 pairs);

    /** Whether the \a k-th record of the tile and the one at \a place are no duplicates. */
    bool rulesOut(std::size_t k, std::size_t place);

    /** How many pairs were ruled out in all tiles. */
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
