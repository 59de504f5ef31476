#include "parts/sharedparts.h"

#include "compare/recordsimilarity.h"
#include "parts/alignments.h"
#include "parts/partextent.h"
#include "parts/partselection.h"
#include "search/workerthreads.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <span>
#include <tuple>

namespace parts {

namespace {

using Records = QList<FingerprintRecord>;
/** All alignments of one pair of records. */
using PairAlignments = std::span<const Alignment>;

/** Finding alignments takes longer than looking at them. */
constexpr double kAlignmentsShare = 0.9;

Words wordsOf(const FingerprintRecord& record)
{
    const QList<quint32>& words = std::get<1>(record);
    return {words.constData(), static_cast<std::size_t>(words.size())};
}

std::vector<PairAlignments> splitByPair(const std::vector<Alignment>& alignments)
{
    std::vector<PairAlignments> pairs;
    for (auto begin = alignments.begin(); begin != alignments.end();) {
        const auto end = std::find_if(begin, alignments.end(), [&](const Alignment& alignment) {
            return alignment.first != begin->first || alignment.second != begin->second;
        });
        pairs.emplace_back(begin, end);
        begin = end;
    }
    return pairs;
}

/** Looks at alignments, those of one pair after another. */
class PartFinder
{
public:
    PartFinder(const Records& records, const PartOptions& options,
               std::vector<PairAlignments> pairs)
        : m_records(records)
        , m_options(options)
        , m_required{wordsOfLength(options.leastLength), options.threshold}
        , m_pairs(std::move(pairs))
    {
    }

    QList<SharedPart> run()
    {
        search::WorkerThreads threads(m_options.threadCount,
                                      [this](search::WorkerThreads&) { work(); });
        threads.waitForAll([this] { showProgress(); });
        std::sort(m_parts.begin(), m_parts.end(),
                  [](const SharedPart& left, const SharedPart& right) {
                      return std::tuple(left.first, left.second, left.stretch.firstBegin) <
                             std::tuple(right.first, right.second, right.stretch.firstBegin);
                  });
        return std::move(m_parts);
    }

private:
    void showProgress() const
    {
        if (m_options.progress) {
            const auto done = static_cast<double>(std::min(m_next.load(), m_pairs.size()));
            m_options.progress(kAlignmentsShare + (1.0 - kAlignmentsShare) * done /
                                                      static_cast<double>(m_pairs.size()));
        }
    }

    void work()
    {
        QList<SharedPart> found;
        for (std::size_t next = m_next++; next < m_pairs.size() && !m_options.stop.stop_requested();
             next = m_next++) {
            found += partsOf(m_pairs[next]);
        }
        const std::scoped_lock lock(m_mutex);
        m_parts += found;
    }

    QList<SharedPart> partsOf(PairAlignments alignments) const
    {
        const FingerprintRecord& first = m_records.at(alignments.front().first);
        const FingerprintRecord& second = m_records.at(alignments.front().second);
        std::vector<Stretch> stretches;
        for (const Alignment& alignment : alignments) {
            const std::vector<Stretch> more = stretchesAt(wordsOf(first), wordsOf(second),
                                                          alignment.shift, m_required.leastWords);
            stretches.insert(stretches.end(), more.begin(), more.end());
        }
        const std::vector<Stretch> selected =
            selectParts(std::move(stretches), wordsOf(first), wordsOf(second), m_required);
        QList<SharedPart> parts;
        for (const Stretch& part : selected) {
            const PartExtent extent = extentOf(part, static_cast<int>(wordsOf(first).size()),
                                               static_cast<int>(wordsOf(second).size()));
            if (isLongEnough(extent, m_options.leastLength)) {
                parts.append({alignments.front().first, alignments.front().second, part});
            }
        }
        const bool areDuplicates =
            !parts.isEmpty() && compare::recordSimilarityAtLeast(
                                    first, second, m_options.threshold) >= m_options.threshold;
        return areDuplicates ? QList<SharedPart>() : parts;
    }

    const Records& m_records;
    const PartOptions& m_options;
    PartRequirements m_required;
    std::vector<PairAlignments> m_pairs;
    std::atomic<std::size_t> m_next = 0;
    std::mutex m_mutex;
    QList<SharedPart> m_parts;
};

} // namespace

SharedParts findSharedParts(const QList<FingerprintRecord>& records, const PartOptions& options)
{
    AlignmentOptions alignmentOptions;
    alignmentOptions.leastWords = wordsOfLength(options.leastLength);
    alignmentOptions.groupSize = options.groupSize;
    alignmentOptions.threadCount = options.threadCount;
    alignmentOptions.stop = options.stop;
    if (options.progress) {
        alignmentOptions.progress = [&options](double done) {
            options.progress(done * kAlignmentsShare);
        };
    }
    const FoundAlignments found = findAlignments(records, alignmentOptions);
    SharedParts result{{}, found.seeds, found.commonWords, found.commonPlaces};
    if (!options.stop.stop_requested() && !found.alignments.empty()) {
        result.parts = PartFinder(records, options, splitByPair(found.alignments)).run();
    }
    if (options.progress) {
        options.progress(1.0);
    }
    return result;
}

} // namespace parts
