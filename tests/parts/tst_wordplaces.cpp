#include "parts/wordplaces.h"
#include "support/fingerprintwords.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <numeric>

using namespace Qt::StringLiterals;

using parts::collectPlaces;
using parts::kContextDistance;
using parts::WordPlace;
using parts::WordRange;
using parts::wordRanges;

namespace {

using Records = QList<FingerprintRecord>;
using support::Words;

constexpr WordRange kAllWords = {0, std::numeric_limits<quint32>::max()};

Records recordsOf(const QList<Words>& fingerprints)
{
    Records records;
    for (const Words& words : fingerprints) {
        records.append({u"/%1"_s.arg(records.size()), words, 1000, 44100, 2});
    }
    return records;
}

std::vector<WordPlace> placesIn(const Records& records, WordRange range)
{
    // What was in it before is to be gone.
    std::vector<WordPlace> places(3);
    collectPlaces(records, range, places);
    return places;
}

/** Places as text: word, record and position of each. */
QString textOf(const std::vector<WordPlace>& places)
{
    QStringList texts;
    for (const WordPlace& place : places) {
        texts += u"%1 in %2 at %3"_s.arg(place.word).arg(place.record).arg(place.position);
    }
    return texts.join(u", "_s);
}

} // namespace

class TestWordPlaces : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesAreSortedByWordRecordAndPosition();
    void repeatedWordHasOnePlace();
    void bothEndsOfARangeBelongToIt();
    void contextIsALaterWord();
    void rangesAreAllWordsInPiecesOfTheGivenSize();
    void manyPlacesOfOneWordAreOneRange();
    void noRecordsHaveOneRange();
};

void TestWordPlaces::placesAreSortedByWordRecordAndPosition()
{
    const Records records = recordsOf({{7, 3, 7}, {}, {3, 7}});
    QCOMPARE(textOf(placesIn(records, kAllWords)),
             u"3 in 0 at 1, 3 in 2 at 0, 7 in 0 at 0, 7 in 0 at 2, 7 in 2 at 1"_s);
}

void TestWordPlaces::repeatedWordHasOnePlace()
{
    QCOMPARE(textOf(placesIn(recordsOf({{5, 5, 5, 6, 5}, {5}}), kAllWords)),
             u"5 in 0 at 0, 5 in 0 at 4, 5 in 1 at 0, 6 in 0 at 3"_s);
}

void TestWordPlaces::bothEndsOfARangeBelongToIt()
{
    QCOMPARE(textOf(placesIn(recordsOf({{4, 5, 6, 7, 8}}), {5, 7})),
             u"5 in 0 at 1, 6 in 0 at 2, 7 in 0 at 3"_s);
}

void TestWordPlaces::contextIsALaterWord()
{
    Words words(kContextDistance + 2);
    std::iota(words.begin(), words.end(), 100U);
    const std::vector<WordPlace> places = placesIn(recordsOf({words}), kAllWords);
    QCOMPARE(places[0].context, words.at(kContextDistance));
    QCOMPARE(places[1].context, words.at(kContextDistance + 1));
    QCOMPARE(places[2].context, 0U);
}

void TestWordPlaces::rangesAreAllWordsInPiecesOfTheGivenSize()
{
    constexpr qsizetype kMostPlaces = 500;
    std::mt19937 random(1);
    const Records records =
        recordsOf({support::randomWords(random, 3000), support::randomWords(random, 2000)});
    const std::vector<WordRange> ranges = wordRanges(records, kMostPlaces);
    QCOMPARE(ranges.front().first, kAllWords.first);
    QCOMPARE(ranges.back().last, kAllWords.last);
    qsizetype places = 0;
    for (std::size_t i = 0; i < ranges.size(); ++i) {
        QVERIFY(i == 0 || ranges[i].first == ranges[i - 1].last + 1);
        const qsizetype count = std::ssize(placesIn(records, ranges[i]));
        QCOMPARE_LE(count, kMostPlaces);
        places += count;
    }
    QCOMPARE(places, 5000);
    QCOMPARE_LE(ranges.size(), 12U);
}

void TestWordPlaces::manyPlacesOfOneWordAreOneRange()
{
    Words words;
    for (quint32 i = 0; i < 100; ++i) {
        words += {0x50000U, 0x70000U + i};
    }
    const std::vector<WordRange> expected = {{0, 0x6ffffU},
                                             {0x70000U, std::numeric_limits<quint32>::max()}};
    QCOMPARE(wordRanges(recordsOf({words}), 10), expected);
}

void TestWordPlaces::noRecordsHaveOneRange()
{
    QCOMPARE(wordRanges({}, 10), std::vector<WordRange>{kAllWords});
    QVERIFY(placesIn({}, kAllWords).empty());
}

QTEST_GUILESS_MAIN(TestWordPlaces)
#include "tst_wordplaces.moc"
