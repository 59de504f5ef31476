#include "search/pairbound.h"

#include "compare/similarity.h"
#include "search/workerthreads.h"

#include <algorithm>
#include <atomic>
#include <limits>

namespace search {

namespace {

using Words = std::span<const std::uint32_t>;

constexpr std::size_t kRecordsAtOnce = 64;
/** The number of answers after which the bound of a tile is judged. */
constexpr int kTrial = 512;
constexpr int kLongestSkip = 64;
/** Two hours. An envelope takes about 25 bytes a word, and there are two dozen in a tile. */
constexpr std::size_t kMostEnvelopedWords = 65536;

Words wordsOf(const FingerprintRecord& record)
{
    const QList<quint32>& words = std::get<1>(record);
    return {words.constData(), static_cast<std::size_t>(words.size())};
}

} // namespace

std::uint32_t allowedErrors(qsizetype wordCount, int threshold)
{
    if (wordCount < 1 || wordCount > compare::kMostBoundedWords) {
        return std::numeric_limits<std::uint32_t>::max();
    }
    return static_cast<std::uint32_t>(
        compare::largestErrorCount(static_cast<int>(wordCount), threshold));
}

BoundIndex::BoundIndex(const QList<FingerprintRecord>& records, std::span<const int> positions,
                       int threshold, int threadCount, const std::stop_token& stop)
    : m_allowed(positions.size())
{
    for (std::size_t level = 0; level < m_blocks.size(); ++level) {
        std::size_t count = 0;
        m_begins[level].reserve(positions.size() + 1);
        for (const int position : positions) {
            m_begins[level].push_back(count);
            count += compare::kBoundLevels[level].blockCount(wordsOf(records.at(position)).size());
        }
        m_begins[level].push_back(count);
        m_blocks[level].resize(count);
    }

    std::atomic<std::size_t> next = 0;
    WorkerThreads(threadCount, [&](WorkerThreads&) {
        for (std::size_t begin = next.fetch_add(kRecordsAtOnce);
             begin < positions.size() && !stop.stop_requested();
             begin = next.fetch_add(kRecordsAtOnce)) {
            const std::size_t end = std::min(begin + kRecordsAtOnce, positions.size());
            for (std::size_t place = begin; place < end; ++place) {
                const Words words = wordsOf(records.at(positions[place]));
                m_allowed[place] = allowedErrors(static_cast<qsizetype>(words.size()), threshold);
                compare::countBlocks(words, {m_blocks[0].data() + m_begins[0][place],
                                             m_blocks[1].data() + m_begins[1][place]});
            }
        }
    });
}

compare::CountedBlocks BoundIndex::blocksAt(std::size_t place) const
{
    compare::CountedBlocks blocks;
    for (std::size_t level = 0; level < blocks.size(); ++level) {
        const std::size_t begin = m_begins[level][place];
        blocks[level] = {m_blocks[level].data() + begin, m_begins[level][place + 1] - begin};
    }
    return blocks;
}

void TileBound::enter(const QList<FingerprintRecord>& records, std::span<const int> tile,
                      qint64 pairs)
{
    m_isAsked = false;
    if (m_index == nullptr || pairs < kLeastPairsPerRecord * static_cast<qint64>(tile.size())) {
        return;
    }
    if (m_tilesToSkip > 0) {
        --m_tilesToSkip;
        return;
    }
    m_isAsked = true;
    m_asked = 0;
    m_ruledOut = 0;
    m_envelopes.resize(std::max(m_envelopes.size(), tile.size()));
    m_allowed.clear();
    for (std::size_t k = 0; k < tile.size(); ++k) {
        const Words words = wordsOf(records.at(tile[k]));
        m_envelopes[k].assign(words.size() <= kMostEnvelopedWords ? words : Words());
        m_allowed.push_back(allowedErrors(static_cast<qsizetype>(words.size()), m_threshold));
    }
}

bool TileBound::rulesOut(std::size_t k, std::size_t place)
{
    if (!m_isAsked) {
        return false;
    }
    // Fewer words allow fewer errors, and no more words overlap than the shorter one has.
    const std::uint32_t allowed = std::min(m_allowed[k], m_index->allowedAt(place));
    const bool ruledOut = m_envelopes[k].rulesOut(m_index->blocksAt(place), allowed);
    m_ruledOutPairs += ruledOut ? 1 : 0;
    countAnswer(ruledOut);
    return ruledOut;
}

void TileBound::countAnswer(bool ruledOut)
{
    if (m_asked == kTrial) {
        return;
    }
    ++m_asked;
    m_ruledOut += ruledOut ? 1 : 0;
    if (m_asked < kTrial) {
        return;
    }
    if (2 * m_ruledOut >= kTrial) {
        m_nextSkip = 1;
        return;
    }
    m_isAsked = false;
    m_tilesToSkip = m_nextSkip;
    m_nextSkip = std::min(2 * m_nextSkip, kLongestSkip);
}

} // namespace search
