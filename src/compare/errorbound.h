#pragma once

#include "compare/similaritykernel.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/**
 * A lower bound for the differing bits of two fingerprints, which rules most pairs out without an
 * alignment. It is the envelope bound for warped time series (E. Keogh, "Exact indexing of dynamic
 * time warping", 2002), on the columns of bits:
 *
 * - Two blocks of words differ in at least as many bits as the sum, over the 32 bit positions, of
 *   the differences between the numbers of words in which the bit is set.
 * - Of all the blocks of the other fingerprint that one block meets in a group of neighbouring
 *   shifts, the least and the most of these numbers are taken. A block's own number differs from
 *   those at every shift of the group by at least as much as it is outside of this range.
 *
 * Neighbouring words of real fingerprints differ in few bits, so these numbers change slowly from
 * shift to shift, and a lot from recording to recording.
 */
namespace compare {

/** How long blocks and how large groups of shifts are. */
struct BoundLevel
{
    std::size_t blockWords; ///< At most 255, so that numbers fit into bytes.
    std::size_t groupShifts;

    std::size_t blockCount(std::size_t wordCount) const
    {
        return wordCount / blockWords;
    }
};

/** Shifts to either side; 0 to 39 words in each of the two directions. */
inline constexpr std::ptrdiff_t kLargestShift = static_cast<std::ptrdiff_t>(kOffsetCount) - 1;
/** Pairs that the first level does not rule out go to the second, with half the sizes. */
inline constexpr std::array<BoundLevel, 2> kBoundLevels = {{{64, 16}, {32, 8}}};

/** The counted blocks of one fingerprint, at both levels. */
using CountedBlocks = std::array<std::span<const BitCounts>, kBoundLevels.size()>;

/**
 * Counts the set bits of the blocks of \a words, at each level from the first word on. Words at the
 * end that do not fill a block are left out.
 * Requires: room for blockCount() of each level at \a counts. Thread: Any thread.
 */
void countBlocks(std::span<const std::uint32_t> words,
                 const std::array<BitCounts*, kBoundLevels.size()>& counts);

/** The range of the numbers of one fingerprint at all shifts, for the blocks of others. */
class CountEnvelope
{
public:
    /** Replaces the fingerprint by \a words, and keeps no reference to them. */
    void assign(std::span<const std::uint32_t> words);

    /**
     * Returns true only if this fingerprint and that of \a blocks differ in more than \a allowed
     * bits of the overlapping words at every shift. May return false even so.
     * Thread: Any thread.
     */
    bool rulesOut(const CountedBlocks& blocks, std::uint32_t allowed) const;

private:
    /** For one group of shifts: the blocks that are within this fingerprint at each of them. */
    struct Group
    {
        std::size_t firstBlock = 0;
        std::vector<BitCounts> least;
        std::vector<BitCounts> most;
    };

    // cppcheck-suppress functionStatic ; it does not see members in structured bindings
    void assignGroups(std::size_t level);
    // cppcheck-suppress functionStatic
    bool rulesOut(const CountedBlocks& blocks, std::uint32_t allowed, std::size_t level,
                  std::size_t group) const;

    std::array<std::vector<Group>, kBoundLevels.size()> m_groups;
    /** For every window of a block's length, at each level; kept for their memory. */
    std::array<std::vector<BitCounts>, kBoundLevels.size()> m_windows;
};

} // namespace compare
