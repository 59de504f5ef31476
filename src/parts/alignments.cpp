#include "parts/alignments.h"

#include "parts/stretches.h"
#include "parts/wordplaces.h"
#include "search/workerthreads.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <mutex>
#include <span>

namespace parts {

namespace {

using Records = QList<FingerprintRecord>;
using Places = std::span<const WordPlace>;

/** Unrelated words differ in 16 bits, those of one recording in three or four. */
constexpr int kMostContextErrors = 11;
/** Three seconds. */
constexpr int kWindowWords = 24;

/** The bits that differ between neighbouring ones of \a count words. */
int changesIn(const quint32* words, int count)
{
    int changes = 0;
    for (int i = 1; i < count; ++i) {
        changes += std::popcount(words[i - 1] ^ words[i]);
    }
    return changes;
}

/** One word at two places, and the words around them. */
class Seed
{
public:
    Seed(const QList<quint32>& firstWords, int firstPosition, const QList<quint32>& secondWords,
         int secondPosition)
        : m_first(firstWords.constData() + firstPosition)
        , m_second(secondWords.constData() + secondPosition)
        , m_before(std::min(firstPosition, secondPosition))
        , m_after(static_cast<int>(
              std::min(firstWords.size() - firstPosition, secondWords.size() - secondPosition)))
    {
    }

    /** Whether the three seconds around it are alike, and neither silence nor a tone. */
    bool isAlikeAround() const
    {
        if (m_before + m_after < kWindowWords) {
            return false;
        }
        // Near an end of either fingerprint, the window is moved away from it.
        const int reach = std::max(std::min(m_before, kWindowWords / 2), kWindowWords - m_after);
        return isAlike(-reach, kWindowWords) &&
               changesIn(m_first - reach, kWindowWords) >= kWindowWords &&
               changesIn(m_second - reach, kWindowWords) >= kWindowWords;
    }

    /**
     * Whether \a count words before or behind it are alike, as in a stretch of twice that length
     * wherever it is in that. Chance seeds are alike for some seconds only.
     */
    bool isAlikeOnOneSide(int count) const
    {
        return (m_before >= count && isAlike(-count, count)) ||
               (m_after >= count && isAlike(0, count));
    }

private:
    /** Whether \a count words from \a begin on, counted from the seed, are alike. */
    bool isAlike(int begin, int count) const
    {
        int errors = 0;
        for (int i = begin; i < begin + count; ++i) {
            errors += std::popcount(m_first[i] ^ m_second[i]);
        }
        return errors <= count * kMostErrorsPerWord;
    }

    const quint32* m_first;
    const quint32* m_second;
    /** The words that both have before it, and from it on. */
    int m_before;
    int m_after;
};

/** Alignments as they are found, many of them again and again. */
class AlignmentSet
{
public:
    void add(const Alignment& alignment)
    {
        if (m_alignments.size() >= m_limit) {
            removeRepeated();
            m_limit = std::max(m_limit, m_alignments.size() * 2);
        }
        m_alignments.push_back(alignment);
    }

    void add(AlignmentSet& other)
    {
        other.removeRepeated();
        m_alignments.insert(m_alignments.end(), other.m_alignments.begin(),
                            other.m_alignments.end());
        removeRepeated();
    }

    std::vector<Alignment> take()
    {
        removeRepeated();
        return std::move(m_alignments);
    }

private:
    void removeRepeated()
    {
        std::sort(m_alignments.begin(), m_alignments.end());
        m_alignments.erase(std::unique(m_alignments.begin(), m_alignments.end()),
                           m_alignments.end());
    }

    std::vector<Alignment> m_alignments;
    std::size_t m_limit = std::size_t(1) << 20;
};

/** What one thread finds. */
struct Share
{
    AlignmentSet alignments;
    qint64 seeds = 0;
    qint64 commonWords = 0;
    qint64 commonPlaces = 0;
};

class Finder
{
public:
    Finder(const Records& records, const AlignmentOptions& options)
        : m_records(records)
        , m_options(options)
        , m_ranges(wordRanges(records,
                              std::max<qsizetype>(options.placesAtOnce / options.threadCount, 1)))
    {
    }

    FoundAlignments run()
    {
        search::WorkerThreads threads(m_options.threadCount,
                                      [this](search::WorkerThreads&) { work(); });
        threads.waitForAll([this] { showProgress(); });
        showProgress();
        return {m_all.alignments.take(), m_all.seeds, m_all.commonWords, m_all.commonPlaces};
    }

private:
    void showProgress() const
    {
        if (m_options.progress) {
            m_options.progress(static_cast<double>(m_done) / static_cast<double>(m_ranges.size()));
        }
    }

    void work()
    {
        Share share;
        std::vector<WordPlace> places;
        for (std::size_t next = m_next++; next < m_ranges.size(); next = m_next++) {
            collectPlaces(m_records, m_ranges[next], places);
            for (auto begin = places.begin(); begin != places.end() && !isStopped();) {
                const auto end = std::find_if(begin, places.end(), [&](const WordPlace& place) {
                    return place.word != begin->word;
                });
                checkSeeds({begin, end}, share);
                begin = end;
            }
            ++m_done;
            if (isStopped()) {
                break;
            }
        }
        const std::scoped_lock lock(m_mutex);
        m_all.alignments.add(share.alignments);
        m_all.seeds += share.seeds;
        m_all.commonWords += share.commonWords;
        m_all.commonPlaces += share.commonPlaces;
    }

    bool isStopped() const
    {
        return m_options.stop.stop_requested();
    }

    /** Looks at all pairs of \a places, which have the same word. */
    void checkSeeds(Places places, Share& share) const
    {
        if (std::ssize(places) > m_options.mostPlaces) {
            ++share.commonWords;
            share.commonPlaces += std::ssize(places);
            return;
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            for (std::size_t j = i + 1; j < places.size(); ++j) {
                checkSeed(places[i], places[j], share);
            }
        }
    }

    /** \a first is not behind \a second. */
    void checkSeed(const WordPlace& first, const WordPlace& second, Share& share) const
    {
        const bool isWanted = m_options.groupSize > 0 ? first.record < m_options.groupSize &&
                                                            second.record >= m_options.groupSize
                                                      : first.record != second.record;
        if (!isWanted) {
            return;
        }
        ++share.seeds;
        const bool areBothKnown = first.context != 0 && second.context != 0;
        if (areBothKnown && std::popcount(first.context ^ second.context) > kMostContextErrors) {
            return;
        }
        const Seed seed(std::get<1>(m_records.at(first.record)), first.position,
                        std::get<1>(m_records.at(second.record)), second.position);
        if (seed.isAlikeAround() && seed.isAlikeOnOneSide(m_options.leastWords / 2)) {
            share.alignments.add({first.record, second.record, second.position - first.position});
        }
    }

    const Records& m_records;
    const AlignmentOptions& m_options;
    std::vector<WordRange> m_ranges;
    std::atomic<std::size_t> m_next = 0;
    std::atomic<std::size_t> m_done = 0;
    std::mutex m_mutex;
    Share m_all;
};

} // namespace

FoundAlignments findAlignments(const QList<FingerprintRecord>& records,
                               const AlignmentOptions& options)
{
    return Finder(records, options).run();
}

} // namespace parts
