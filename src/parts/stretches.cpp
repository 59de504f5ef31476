#include "parts/stretches.h"

#include "compare/similarity.h"
#include "fingerprint/featureless.h"
#include "parts/bitcounts.h"

#include <algorithm>

namespace parts {

namespace {

/** Unrelated words lose about eight a word, so that three seconds of them end a stretch. */
constexpr int kMostLoss = 200;

/**
 * So much larger than the errors are those expected by chance, at the least. Measured: at least 2.4
 * times in what is shared, at most 1.6 times in noise (docs/accuracy.md).
 */
constexpr int kLeastChanceRatio = 2;
/**
 * The errors of a word expected by chance in what has anything to recognise. Measured: at least 6.3
 * in music, at most 4.4 where a tone begins or ends.
 */
constexpr int kLeastErrorsOfChance = 5;

/** Two fingerprints, one of them shifted; its words are those that both have. */
class Alignment
{
public:
    Alignment(Words first, Words second, int shift)
        : m_firstBegin(std::max(0, -shift))
        , m_secondBegin(m_firstBegin + shift)
    {
        const auto firstWords = static_cast<int>(first.size()) - m_firstBegin;
        const auto secondWords = static_cast<int>(second.size()) - m_secondBegin;
        m_wordCount = std::max(0, std::min(firstWords, secondWords));
        if (m_wordCount > 0) {
            m_first = first.subspan(static_cast<std::size_t>(m_firstBegin));
            m_second = second.subspan(static_cast<std::size_t>(m_secondBegin));
        }
    }

    int wordCount() const
    {
        return m_wordCount;
    }

    int errorsAt(int i) const
    {
        const auto at = static_cast<std::size_t>(i);
        return differingBits(m_first[at], m_second[at]);
    }

    /** By how much the word at \a i is more alike than it has to be. */
    int gainAt(int i) const
    {
        return kMostErrorsPerWord - errorsAt(i);
    }

    Stretch stretch(int begin, int end) const
    {
        int errors = 0;
        for (int i = begin; i < end; ++i) {
            errors += errorsAt(i);
        }
        return {m_firstBegin + begin, m_secondBegin + begin, end - begin, errors};
    }

    bool isFeatureless(int begin, int end) const
    {
        return fingerprint::isFeatureless(wordsOf(m_first, begin, end)) ||
               fingerprint::isFeatureless(wordsOf(m_second, begin, end));
    }

    /**
     * Whether \a errors from \a begin up to \a end are so few because the words belong together,
     * and not because most words of either have the same bits set, as those of noise and tones have.
     */
    bool isBeyondChance(int begin, int end, int errors) const
    {
        const qint64 words = end - begin;
        const qint64 chanceErrors =
            chanceErrorsTimesWords(setBitsOf(wordsOf(m_first, begin, end)),
                                   setBitsOf(wordsOf(m_second, begin, end)), words);
        return chanceErrors >= words * words * kLeastErrorsOfChance &&
               chanceErrors >= errors * words * kLeastChanceRatio;
    }

private:
    static Words wordsOf(Words words, int begin, int end)
    {
        return words.subspan(static_cast<std::size_t>(begin),
                             static_cast<std::size_t>(end - begin));
    }

    int m_firstBegin;
    int m_secondBegin;
    int m_wordCount = 0;
    Words m_first;
    Words m_second;
};

/** Where the sum of gains from \a begin on is largest, before it has fallen by kMostLoss. */
int endOfStretch(const Alignment& alignment, int begin)
{
    int sum = 0;
    int largest = 0;
    int end = begin;
    for (int i = begin; i < alignment.wordCount() && sum > largest - kMostLoss && sum >= 0; ++i) {
        sum += alignment.gainAt(i);
        if (sum > largest) {
            largest = sum;
            end = i + 1;
        }
    }
    return end;
}

/** Where the sum of gains up to \a end is largest, not before \a begin. */
int beginOfStretch(const Alignment& alignment, int begin, int end)
{
    int sum = 0;
    int largest = 0;
    int result = end;
    for (int i = end - 1; i >= begin; --i) {
        sum += alignment.gainAt(i);
        if (sum > largest) {
            largest = sum;
            result = i;
        }
    }
    return result;
}

} // namespace

int Stretch::similarity() const
{
    return compare::similarityPercentage(errors, wordCount);
}

std::vector<Stretch> stretchesAt(Words first, Words second, int shift, int leastWords)
{
    const Alignment alignment(first, second, shift);
    std::vector<Stretch> stretches;
    int at = 0;
    while (at < alignment.wordCount()) {
        if (alignment.gainAt(at) <= 0) {
            ++at;
            continue;
        }
        const int end = endOfStretch(alignment, at);
        const int begin = beginOfStretch(alignment, at, end);
        if (end - begin >= leastWords && !alignment.isFeatureless(begin, end)) {
            const Stretch stretch = alignment.stretch(begin, end);
            if (alignment.isBeyondChance(begin, end, stretch.errors)) {
                stretches.push_back(stretch);
            }
        }
        at = end;
    }
    return stretches;
}

Stretch pieceOf(const Stretch& stretch, int from, int count, Words first, Words second)
{
    const Alignment alignment(first, second, stretch.shift());
    const int begin = std::min(stretch.firstBegin, stretch.secondBegin) + from;
    return alignment.stretch(begin, begin + count);
}

} // namespace parts
