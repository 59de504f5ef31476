#include "compare/errorbound.h"

#include "compare/kernelchoice.h"

#include <algorithm>
#include <cstring>

namespace compare {

namespace {

constexpr std::size_t kBytesPerWord = 4;
constexpr std::size_t kByteValues = 256;
/** All shifts, from -39 to 39. */
constexpr std::size_t kShiftCount = 2 * static_cast<std::size_t>(kLargestShift) + 1;

/** Eight numbers of a byte each, added and subtracted at once. No sum leaves its byte. */
using EightCounts = std::uint64_t;

/** The bits of each byte value, as numbers. */
constexpr std::array<EightCounts, kByteValues> spreadBits()
{
    std::array<EightCounts, kByteValues> spread{};
    for (std::size_t value = 0; value < kByteValues; ++value) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            spread[value] |= EightCounts{(value >> bit) & 1U} << (8 * bit);
        }
    }
    return spread;
}

constexpr std::array<EightCounts, kByteValues> kSpreadBits = spreadBits();

/** The number of words of a window in which each bit is set, while the window slides. */
class SlidingCounts
{
public:
    void add(std::uint32_t word)
    {
        for (std::size_t i = 0; i < kBytesPerWord; ++i) {
            m_counts[i] += kSpreadBits[(word >> (8 * i)) & 0xFFU];
        }
    }
    void remove(std::uint32_t word)
    {
        for (std::size_t i = 0; i < kBytesPerWord; ++i) {
            m_counts[i] -= kSpreadBits[(word >> (8 * i)) & 0xFFU];
        }
    }
    void store(BitCounts& counts) const
    {
        static_assert(sizeof m_counts == sizeof counts.ofBit);
        std::memcpy(counts.ofBit, m_counts.data(), sizeof counts.ofBit);
    }

private:
    std::array<EightCounts, kBytesPerWord> m_counts{};
};

/** The counts of two neighbouring blocks, of the block that both make. */
void addUp(const BitCounts& first, const BitCounts& second, BitCounts& sum)
{
    for (std::size_t bit = 0; bit < kBitsPerWord; ++bit) {
        sum.ofBit[bit] = static_cast<std::uint8_t>(first.ofBit[bit] + second.ofBit[bit]);
    }
}

/** The bounds, bit for bit, of \a count neighbouring windows, at least one. */
void boundsOf(const BitCounts* windows, std::size_t count, BitCounts& least, BitCounts& most)
{
    BitCounts low = windows[0];
    BitCounts high = windows[0];
    for (std::size_t i = 1; i < count; ++i) {
        for (std::size_t bit = 0; bit < kBitsPerWord; ++bit) {
            low.ofBit[bit] = std::min(low.ofBit[bit], windows[i].ofBit[bit]);
            high.ofBit[bit] = std::max(high.ofBit[bit], windows[i].ofBit[bit]);
        }
    }
    least = low;
    most = high;
}

constexpr std::size_t groupCount(const BoundLevel& level)
{
    return (kShiftCount + level.groupShifts - 1) / level.groupShifts;
}

static_assert(groupCount(kBoundLevels[1]) == 2 * groupCount(kBoundLevels[0]));
static_assert(kBoundLevels[0].blockWords == 2 * kBoundLevels[1].blockWords);
static_assert(kBoundLevels[0].groupShifts == 2 * kBoundLevels[1].groupShifts);

} // namespace

void countBlocks(std::span<const std::uint32_t> words,
                 const std::array<BitCounts*, kBoundLevels.size()>& counts)
{
    const auto [coarse, fine] = counts;
    const std::size_t fineWords = kBoundLevels[1].blockWords;
    for (std::size_t block = 0; block < kBoundLevels[1].blockCount(words.size()); ++block) {
        SlidingCounts sum;
        for (const std::uint32_t word : words.subspan(block * fineWords, fineWords)) {
            sum.add(word);
        }
        sum.store(fine[block]);
    }
    for (std::size_t block = 0; block < kBoundLevels[0].blockCount(words.size()); ++block) {
        addUp(fine[2 * block], fine[2 * block + 1], coarse[block]);
    }
}

void CountEnvelope::assign(std::span<const std::uint32_t> words)
{
    auto& [coarse, fine] = m_windows;
    const std::size_t fineWords = kBoundLevels[1].blockWords;
    fine.resize(words.size() < fineWords ? 0 : words.size() - fineWords + 1);
    coarse.resize(fine.size() <= fineWords ? 0 : fine.size() - fineWords);
    SlidingCounts sum;
    for (std::size_t i = 0; i + 1 < fineWords && !fine.empty(); ++i) {
        sum.add(words[i]);
    }
    for (std::size_t window = 0; window < fine.size(); ++window) {
        sum.add(words[window + fineWords - 1]);
        sum.store(fine[window]);
        sum.remove(words[window]);
    }
    for (std::size_t window = 0; window < coarse.size(); ++window) {
        addUp(fine[window], fine[window + fineWords], coarse[window]);
    }
    for (std::size_t level = 0; level < kBoundLevels.size(); ++level) {
        assignGroups(level);
    }
}

void CountEnvelope::assignGroups(std::size_t level)
{
    const auto [blockWords, groupShifts] = kBoundLevels[level];
    const std::vector<BitCounts>& windows = m_windows[level];
    const auto windowCount = static_cast<std::ptrdiff_t>(windows.size());
    const auto step = static_cast<std::ptrdiff_t>(blockWords);
    m_groups[level].resize(groupCount(kBoundLevels[level]));
    std::ptrdiff_t firstShift = -kLargestShift;
    for (Group& group : m_groups[level]) {
        const std::ptrdiff_t lastShift =
            std::min(firstShift + static_cast<std::ptrdiff_t>(groupShifts) - 1, kLargestShift);
        // The partner of a block is wholly within the words at the first and the last shift.
        std::ptrdiff_t block = firstShift < 0 ? (-firstShift + step - 1) / step : 0;
        group.firstBlock = static_cast<std::size_t>(block);
        group.least.clear();
        group.most.clear();
        for (; block * step + lastShift < windowCount; ++block) {
            boundsOf(windows.data() + block * step + firstShift,
                     static_cast<std::size_t>(lastShift - firstShift + 1),
                     group.least.emplace_back(), group.most.emplace_back());
        }
        firstShift = lastShift + 1;
    }
}

bool CountEnvelope::rulesOut(const CountedBlocks& blocks, std::uint32_t allowed) const
{
    for (std::size_t group = 0; group < m_groups[0].size(); ++group) {
        if (!rulesOut(blocks, allowed, 0, group) &&
            !(rulesOut(blocks, allowed, 1, 2 * group) &&
              rulesOut(blocks, allowed, 1, 2 * group + 1))) {
            return false;
        }
    }
    return !m_groups[0].empty();
}

bool CountEnvelope::rulesOut(const CountedBlocks& blocks, std::uint32_t allowed, std::size_t level,
                             std::size_t group) const
{
    const auto& [firstBlock, least, most] = m_groups[level][group];
    if (blocks[level].size() <= firstBlock) {
        return false;
    }
    const std::size_t count = std::min(blocks[level].size() - firstBlock, least.size());
    return similarityKernel().errorsOutside(blocks[level].data() + firstBlock, least.data(),
                                            most.data(), count, allowed) > allowed;
}

} // namespace compare
