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

constexpr std::chrono::milliseconds kProgressInterval(200);
/** Unrelated words differ in 16 bits, those of one recording in three or four. */
constexpr int kMostContextErrors = 11;
/** Three seconds. */
constexpr int kWindowWords = 24;

/** The \a count words of \a record from \a begin on. */
const quint32* wordsFrom(const FingerprintRecord& record, int begin)
{
    return std::get<1>(record).constData() + begin;
}

int wordCount(const FingerprintRecord& record)
{
    return static_cast<int>(std::get<1>(record).size());
}

/** Whether the three seconds around \a first and \a second are alike, and not silence or a tone. */
bool isAlikeAround(const Records& records, const WordPlace& first, const WordPlace& second)
{
    const FingerprintRecord& firstRecord = records.at(first.record);
    const FingerprintRecord& secondRecord = records.at(second.record);
    const int before = std::min(first.position, second.position);
    const int after = std::min(wordCount(firstRecord) - first.position,
                               wordCount(secondRecord) - second.position);
    if (before + after < kWindowWords) {
        return false;
    }
    // Near an end of either, the window is moved away from it.
    const int reach = std::max(std::min(before, kWindowWords / 2), kWindowWords - after);
    const quint32* const firstWords = wordsFrom(firstRecord, first.position - reach);
    const quint32* const secondWords = wordsFrom(secondRecord, second.position - reach);
    int errors = 0;
    int firstChanges = 0;
    int secondChanges = 0;
    for (int i = 0; i < kWindowWords; ++i) {
        errors += std::popcount(firstWords[i] ^ secondWords[i]);
        firstChanges += i > 0 ? std::popcount(firstWords[i] ^ firstWords[i - 1]) : 0;
        secondChanges += i > 0 ? std::popcount(secondWords[i] ^ secondWords[i - 1]) : 0;
    }
    return errors <= kWindowWords * kMostErrorsPerWord &&
           std::min(firstChanges, secondChanges) >= kWindowWords;
}

/** Whether \a count words are alike, from \a before words before \a first and \a second on. */
bool areAlike(const Records& records, const WordPlace& first, const WordPlace& second, int before,
              int count)
{
    const quint32* const firstWords = wordsFrom(records.at(first.record), first.position - before);
    const quint32* const secondWords =
        wordsFrom(records.at(second.record), second.position - before);
    int errors = 0;
    for (int i = 0; i < count; ++i) {
        errors += std::popcount(firstWords[i] ^ secondWords[i]);
    }
    return errors <= count * kMostErrorsPerWord;
}

/**
 * Whether \a count words before or behind \a first and \a second are alike, as in a stretch of
 * twice that length wherever they are in it. Chance meetings are alike for some seconds only.
 */
bool isAlikeOnOneSide(const Records& records, const WordPlace& first, const WordPlace& second,
                      int count)
{
    const int before = std::min(first.position, second.position);
    const int after = std::min(wordCount(records.at(first.record)) - first.position,
                               wordCount(records.at(second.record)) - second.position);
    return (before >= count && areAlike(records, first, second, count, count)) ||
           (after >= count && areAlike(records, first, second, 0, count));
}

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
    qint64 meetings = 0;
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
        while (!threads.waitFor(kProgressInterval)) {
            showProgress();
        }
        showProgress();
        return {m_all.alignments.take(), m_all.meetings, m_all.commonWords, m_all.commonPlaces};
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
                meet({begin, end}, share);
                begin = end;
            }
            ++m_done;
            if (isStopped()) {
                break;
            }
        }
        const std::scoped_lock lock(m_mutex);
        m_all.alignments.add(share.alignments);
        m_all.meetings += share.meetings;
        m_all.commonWords += share.commonWords;
        m_all.commonPlaces += share.commonPlaces;
    }

    bool isStopped() const
    {
        return m_options.stop.stop_requested();
    }

    /** Looks at all pairs of \a places, which have the same word. */
    void meet(Places places, Share& share) const
    {
        if (std::ssize(places) > m_options.mostPlaces) {
            ++share.commonWords;
            share.commonPlaces += std::ssize(places);
            return;
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            for (std::size_t j = i + 1; j < places.size(); ++j) {
                meet(places[i], places[j], share);
            }
        }
    }

    /** \a first is not behind \a second. */
    void meet(const WordPlace& first, const WordPlace& second, Share& share) const
    {
        const bool isWanted = m_options.groupSize > 0 ? first.record < m_options.groupSize &&
                                                            second.record >= m_options.groupSize
                                                      : first.record != second.record;
        if (!isWanted) {
            return;
        }
        ++share.meetings;
        const bool areBothKnown = first.context != 0 && second.context != 0;
        if (areBothKnown && std::popcount(first.context ^ second.context) > kMostContextErrors) {
            return;
        }
        if (isAlikeAround(m_records, first, second) &&
            isAlikeOnOneSide(m_records, first, second, m_options.leastWords / 2)) {
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
