#include "search/duplicatesearch.h"

#include "compare/boundedsimilarity.h"
#include "search/durationorder.h"
#include "search/workerthreads.h"

#include <algorithm>
#include <atomic>
#include <vector>

namespace search {

namespace {

using Records = QList<FingerprintRecord>;

constexpr std::chrono::milliseconds kProgressInterval(200);

/** A record of the second list that a record of the first is like. */
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
        WorkerThreads threads(m_options.threadCount, [this](WorkerThreads&) { work(); });
        while (!threads.waitFor(kProgressInterval)) {
            if (m_options.progress) {
                m_options.progress(std::min(m_next.load(), all), all);
            }
        }
        if (m_options.stop.stop_requested()) {
            return {};
        }
        if (m_options.progress) {
            m_options.progress(all, all);
        }
        return {collect(), m_comparedPairs};
    }

private:
    /** The number of records of the first list that have to be visited. */
    qsizetype recordCount() const
    {
        return m_everyPairMatches ? m_first.size()
                                  : static_cast<qsizetype>(m_firstOrder.positions().size());
    }

    void work()
    {
        qint64 comparedPairs = 0;
        // Neighbours in duration are compared with much the same records, which the processor's
        // cache then holds, for all threads.
        for (qsizetype next = m_next++; next < recordCount(); next = m_next++) {
            if (m_everyPairMatches) {
                comparedPairs += compareWithAll(static_cast<int>(next));
            } else {
                comparedPairs +=
                    compareWithComparable(m_firstOrder.positions()[static_cast<std::size_t>(next)]);
            }
            if (m_options.stop.stop_requested()) {
                break;
            }
        }
        m_comparedPairs += comparedPairs;
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

    qint64 compareWithComparable(int i)
    {
        qint64 comparedPairs = 0;
        std::vector<Match>& matches = m_matches[static_cast<std::size_t>(i)];
        const FingerprintRecord& record = m_first.at(i);
        for (const auto positions : m_secondOrder.comparableTo(std::get<2>(record))) {
            for (const int j : positions) {
                if (m_withinOneList && j <= i) {
                    continue;
                }
                if (m_options.stop.stop_requested()) {
                    return comparedPairs;
                }
                const int similarity =
                    similarityAtLeast(std::get<1>(record), std::get<1>(m_second.at(j)));
                if (similarity >= m_options.threshold) {
                    matches.push_back({j, similarity});
                }
                ++comparedPairs;
            }
        }
        std::sort(matches.begin(), matches.end(), [](const Match& left, const Match& right) {
            return left.position < right.position;
        });
        return comparedPairs;
    }

    int similarityAtLeast(const QList<quint32>& first, const QList<quint32>& second) const
    {
        return std::max(compare::getSimilarityAtLeast(first, second, m_options.threshold),
                        compare::getSimilarityAtLeast(second, first, m_options.threshold));
    }

    DuplicateMap collect()
    {
        DuplicateMap duplicates;
        for (int i = 0; i < m_first.size(); ++i) {
            // Taken, so that it is freed once it is in the map.
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
    /** For each record of the first list; written by the one thread that took the record. */
    std::vector<std::vector<Match>> m_matches;
    std::atomic<qsizetype> m_next = 0;
    std::atomic<qint64> m_comparedPairs = 0;
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
