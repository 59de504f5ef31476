#include "search/duplicatesearch.h"

#include "compare/durationorder.h"
#include "compare/recordsimilarity.h"
#include "compare/similarity.h"
#include "search/pairbound.h"
#include "search/workerthreads.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

namespace search {

namespace {

using compare::DurationOrder;
using Records = QList<FingerprintRecord>;

constexpr qsizetype kSampledRecords = 1000;
/** Two dozen fingerprints of songs from each list fill half of a second-level cache. */
constexpr qsizetype kTileRecords = 24;

/** A record of the second list that is a duplicate of one of the first. */
struct Match
{
    int position;
    int similarity;
};

/** One comparison of two lists, or of one list with itself. */
class PairwiseComparison
{
public:
    PairwiseComparison(const Records& first, const Records& second, bool withinOneList,
                       const ComparisonOptions& options)
        : m_first(first)
        , m_second(second)
        , m_withinOneList(withinOneList)
        , m_options(options)
        , m_firstOrder(first)
        , m_secondOrder(second)
        , m_everyPairMatches(options.threshold <= 0)
        , m_matches(static_cast<std::size_t>(first.size()))
    {
    }

    Comparison run()
    {
        const qsizetype all = recordCount();
        if (isBoundWorthIt()) {
            m_boundIndex.emplace(m_second, m_secondOrder.positions(), m_options.threshold,
                                 m_options.threadCount, m_options.stop);
        }
        WorkerThreads threads(m_options.threadCount, [this](WorkerThreads&) { work(); });
        threads.waitForAll([this, all] {
            if (m_options.progress) {
                m_options.progress(std::min(m_next.load(), all), all);
            }
        });
        if (m_options.stop.stop_requested()) {
            return {};
        }
        if (m_options.progress) {
            m_options.progress(all, all);
        }
        return {collect(), m_comparedPairs, m_comparedPairs - m_ruledOutPairs};
    }

private:
    /** The number of records of the first list that have to be visited. */
    qsizetype recordCount() const
    {
        return m_everyPairMatches ? m_first.size()
                                  : static_cast<qsizetype>(m_firstOrder.positions().size());
    }

    /** Whether records have enough others of their duration, estimated from a sample. */
    bool isBoundWorthIt() const
    {
        if (!m_options.boundFirst || m_everyPairMatches ||
            m_options.threshold > compare::kLargestSimilarity) {
            return false;
        }
        const DurationOrder::Positions records = m_firstOrder.positions();
        const std::size_t step = records.size() / kSampledRecords + 1;
        qint64 sampled = 0;
        qint64 comparable = 0;
        for (std::size_t at = 0; at < records.size(); at += step) {
            ++sampled;
            for (const DurationOrder::Positions run : comparableTo(records[at])) {
                comparable += std::ssize(run);
            }
        }
        return comparable > sampled * kLeastPairsPerRecord;
    }

    std::array<DurationOrder::Positions, 3> comparableTo(int i) const
    {
        return m_secondOrder.comparableTo(std::get<2>(m_first.at(i)));
    }

    void work()
    {
        TileBound bound(m_boundIndex ? &*m_boundIndex : nullptr, m_options.threshold);
        qint64 comparedPairs = 0;
        for (qsizetype next = m_next.fetch_add(kTileRecords);
             next < recordCount() && !m_options.stop.stop_requested();
             next = m_next.fetch_add(kTileRecords)) {
            const qsizetype end = std::min(next + kTileRecords, recordCount());
            if (!m_everyPairMatches) {
                comparedPairs += compareWithComparable(
                    m_firstOrder.positions().subspan(static_cast<std::size_t>(next),
                                                     static_cast<std::size_t>(end - next)),
                    bound);
                continue;
            }
            for (qsizetype i = next; i < end; ++i) {
                comparedPairs += compareWithAll(static_cast<int>(i));
            }
        }
        m_comparedPairs += comparedPairs;
        m_ruledOutPairs += bound.ruledOutPairs();
    }

    qint64 compareWithAll(int i)
    {
        const int begin = m_withinOneList ? i + 1 : 0;
        std::vector<Match>& matches = m_matches[static_cast<std::size_t>(i)];
        for (int j = begin; j < m_second.size() && !m_options.stop.stop_requested(); ++j) {
            const int similarity = compare::recordSimilarity(m_first.at(i), m_second.at(j));
            if (similarity >= m_options.threshold) {
                matches.push_back({j, similarity});
            }
        }
        return std::max<qint64>(m_second.size() - begin, 0);
    }

    /**
     * Compares the records at \a tile, which are neighbours in duration, with all that are
     * comparable to them: a few of these with the whole tile, then the next few. Both fit into the
     * processor's cache, unlike a whole collection.
     */
    qint64 compareWithComparable(DurationOrder::Positions tile, TileBound& bound)
    {
        std::array<std::vector<DurationOrder::Positions>, 3> comparable;
        qint64 allPairs = 0;
        for (const int i : tile) {
            const std::array<DurationOrder::Positions, 3> runs = comparableTo(i);
            for (std::size_t run = 0; run < runs.size(); ++run) {
                comparable[run].push_back(runs[run]);
                allPairs += std::ssize(runs[run]);
            }
        }
        bound.enter(m_first, tile, m_withinOneList ? allPairs / 2 : allPairs);
        qint64 comparedPairs = 0;
        for (const std::vector<DurationOrder::Positions>& runs : comparable) {
            comparedPairs += compareInChunks(tile, runs, bound);
        }
        for (const int i : tile) {
            std::vector<Match>& matches = m_matches[static_cast<std::size_t>(i)];
            std::sort(matches.begin(), matches.end(), [](const Match& left, const Match& right) {
                return left.position < right.position;
            });
        }
        return comparedPairs;
    }

    /** Compares each record at \a tile with those at its own run of \a comparable. */
    qint64 compareInChunks(DurationOrder::Positions tile,
                           const std::vector<DurationOrder::Positions>& comparable,
                           TileBound& bound)
    {
        const int* const all = m_secondOrder.positions().data();
        std::ptrdiff_t first = std::numeric_limits<std::ptrdiff_t>::max();
        std::ptrdiff_t last = 0;
        for (const DurationOrder::Positions run : comparable) {
            if (!run.empty()) {
                first = std::min(first, run.data() - all);
                last = std::max(last, run.data() - all + std::ssize(run));
            }
        }
        qint64 comparedPairs = 0;
        for (std::ptrdiff_t chunk = first; chunk < last; chunk += kTileRecords) {
            for (std::size_t k = 0; k < tile.size(); ++k) {
                if (comparable[k].empty()) {
                    continue;
                }
                const std::ptrdiff_t begin = comparable[k].data() - all;
                const std::ptrdiff_t end = begin + std::ssize(comparable[k]);
                for (std::ptrdiff_t at = std::max(chunk, begin);
                     at < std::min<std::ptrdiff_t>(chunk + kTileRecords, end); ++at) {
                    comparedPairs += compareOne(tile[k], all[at], [&] {
                        return bound.rulesOut(k, static_cast<std::size_t>(at));
                    });
                }
            }
            if (m_options.stop.stop_requested()) {
                break;
            }
        }
        return comparedPairs;
    }

    /**
     * Compares one pair, unless \a isRuledOut. Returns the number of pairs done: 0 within one list
     * if \a j does not come after \a i.
     */
    template <typename Question> int compareOne(int i, int j, const Question& isRuledOut)
    {
        if (m_withinOneList && j <= i) {
            return 0;
        }
        if (isRuledOut()) {
            return 1;
        }
        const int similarity =
            compare::recordSimilarityAtLeast(m_first.at(i), m_second.at(j), m_options.threshold);
        if (similarity >= m_options.threshold) {
            m_matches[static_cast<std::size_t>(i)].push_back({j, similarity});
        }
        return 1;
    }

    DuplicateMap collect()
    {
        DuplicateMap duplicates;
        for (int i = 0; i < m_first.size(); ++i) {
            // Moved, so that it is freed once it is in the map.
            const std::vector<Match> matches = std::move(m_matches[static_cast<std::size_t>(i)]);
            for (const Match& match : matches) {
                compare::addIfDuplicate(duplicates, std::get<0>(m_first.at(i)),
                                        std::get<0>(m_second.at(match.position)), match.similarity,
                                        m_options.threshold);
            }
        }
        return duplicates;
    }

    const Records& m_first;
    const Records& m_second;
    const bool m_withinOneList;
    const ComparisonOptions& m_options;
    const DurationOrder m_firstOrder;
    const DurationOrder m_secondOrder;
    const bool m_everyPairMatches;
    std::optional<BoundIndex> m_boundIndex; ///< Of m_secondOrder, where it is worth it.
    /** For each record of the first list; written by the one thread that took the record. */
    std::vector<std::vector<Match>> m_matches;
    std::atomic<qsizetype> m_next = 0;
    std::atomic<qint64> m_comparedPairs = 0;
    std::atomic<qint64> m_ruledOutPairs = 0;
};

} // namespace

Comparison compareBetween(const QList<FingerprintRecord>& first,
                          const QList<FingerprintRecord>& second, const ComparisonOptions& options)
{
    return PairwiseComparison(first, second, false, options).run();
}

Comparison compareWithin(const QList<FingerprintRecord>& records, const ComparisonOptions& options)
{
    return PairwiseComparison(records, records, true, options).run();
}

} // namespace search
