#include "parts/alignments.h"
#include "parts/wordplaces.h"
#include "support/fingerprintwords.h"

#include <QTest>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

using parts::Alignment;
using parts::AlignmentOptions;
using parts::findAlignments;
using parts::FoundAlignments;
using support::walkingWords;
using support::Words;

namespace {

using Alignments = std::vector<Alignment>;
using Records = QList<FingerprintRecord>;

FingerprintRecord record(const Words& words)
{
    return {u"/file"_s, words, 1000, 44100, 2};
}

/** Whether \a alignment is in \a found. */
bool hasAlignment(const FoundAlignments& found, const Alignment& alignment)
{
    return std::binary_search(found.alignments.begin(), found.alignments.end(), alignment);
}

} // namespace

class TestAlignments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void commonWordsAlignRecords();
    void damagedCopyIsAligned_data();
    void damagedCopyIsAligned();
    void shareAtAnEndIsAligned_data();
    void shareAtAnEndIsAligned();
    void oneEqualWordIsEnough_data();
    void oneEqualWordIsEnough();
    void lessThanThreeSecondsAreNot();
    void equalWordsAmongUnlikeOnesAreNot();
    void unrelatedRecordsAreNotAligned();
    void recordIsNotAlignedWithItself();
    void onlyRecordsOfDifferentGroupsAreAligned();
    void threadsAndRangesDoNotMatter_data();
    void threadsAndRangesDoNotMatter();
    void orderOfRecordsDoesNotMatter();
    void wordsInTooManyPlacesAreLeftOutAndCounted_data();
    void wordsInTooManyPlacesAreLeftOutAndCounted();
    void unchangingWordsAreNotAligned();
    void alikeForAFewSecondsIsNotEnough_data();
    void alikeForAFewSecondsIsNotEnough();
    void progressEndsWithAll();
    void stopEndsTheSearch();

private:
    /** Records that share pieces of one recording at many places. */
    Records relatives();

    std::mt19937 m_random;
};

void TestAlignments::init()
{
    m_random.seed(5);
}

Records TestAlignments::relatives()
{
    const Words source = walkingWords(m_random, 2000);
    Records records;
    for (int i = 0; i < 12; ++i) {
        const auto begin = static_cast<qsizetype>(m_random() % 1500);
        records += record(walkingWords(m_random, static_cast<qsizetype>(m_random() % 200)) +
                          support::withErrors(m_random, source.mid(begin, 500), 10));
    }
    return records;
}

void TestAlignments::commonWordsAlignRecords()
{
    const Words common = walkingWords(m_random, 160);
    const Records records = {record(walkingWords(m_random, 50)),
                             record(walkingWords(m_random, 70) + common),
                             record(common + walkingWords(m_random, 30))};
    QCOMPARE(findAlignments(records, {}).alignments, (Alignments{{1, 2, -70}}));
}

void TestAlignments::damagedCopyIsAligned_data()
{
    QTest::addColumn<unsigned>("damage");
    QTest::newRow("re-encoded") << 15U;
    QTest::newRow("re-encoded badly") << 30U;
}

void TestAlignments::damagedCopyIsAligned()
{
    QFETCH(const unsigned, damage);
    const Words words = walkingWords(m_random, 160);
    const Records records = {record(words), record(support::withErrors(m_random, words, damage))};
    QCOMPARE(findAlignments(records, {}).alignments, (Alignments{{0, 1, 0}}));
}

void TestAlignments::shareAtAnEndIsAligned_data()
{
    QTest::addColumn<int>("begin");
    QTest::newRow("at the begin") << 0;
    QTest::newRow("in the middle") << 100;
    QTest::newRow("at the end") << 175;
}

void TestAlignments::shareAtAnEndIsAligned()
{
    QFETCH(const int, begin);
    const Words whole = walkingWords(m_random, 200);
    // Just the words that are looked at.
    const Records records = {record(whole), record(whole.mid(begin, 25))};
    QCOMPARE(findAlignments(records, {}).alignments, (Alignments{{0, 1, -begin}}));
}

void TestAlignments::oneEqualWordIsEnough_data()
{
    QTest::addColumn<int>("equal");
    QTest::newRow("the first") << 0;
    QTest::newRow("one in the middle") << 20;
    QTest::newRow("the last") << 39;
}

void TestAlignments::oneEqualWordIsEnough()
{
    QFETCH(const int, equal);
    const Words first = walkingWords(m_random, 40);
    Words second = first;
    for (int i = 0; i < second.size(); ++i) {
        second[i] ^= i == equal ? 0U : 0x10000U;
    }
    AlignmentOptions options;
    options.leastWords = 40;
    QCOMPARE(findAlignments({record(first), record(second)}, options).alignments,
             (Alignments{{0, 1, 0}}));
}

void TestAlignments::lessThanThreeSecondsAreNot()
{
    const Words words = walkingWords(m_random, 24);
    const auto found = [&](qsizetype count) {
        const Words begin = words.first(count);
        return findAlignments({record(begin), record(begin)}, {}).alignments.size();
    };
    QCOMPARE(found(24), 1U);
    QCOMPARE(found(23), 0U);
}

void TestAlignments::equalWordsAmongUnlikeOnesAreNot()
{
    Words first = support::randomWords(m_random, 100);
    Words second = support::randomWords(m_random, 100);
    first[50] = second[50];
    // What is looked at first.
    first[50 + parts::kContextDistance] = second[50 + parts::kContextDistance];
    const FoundAlignments found = findAlignments({record(first), record(second)}, {});
    QCOMPARE(found.seeds, 2);
    QVERIFY(found.alignments.empty());
}

void TestAlignments::unrelatedRecordsAreNotAligned()
{
    Records records;
    for (int i = 0; i < 50; ++i) {
        records += record(walkingWords(m_random, 1000));
    }
    QVERIFY(findAlignments(records, {}).alignments.empty());
}

void TestAlignments::recordIsNotAlignedWithItself()
{
    const Words loop = walkingWords(m_random, 50);
    const FoundAlignments found = findAlignments({record(loop + loop + loop)}, {});
    QCOMPARE(found.seeds, 0);
    QVERIFY(found.alignments.empty());
}

void TestAlignments::onlyRecordsOfDifferentGroupsAreAligned()
{
    const Words words = walkingWords(m_random, 100);
    const Records records(4, record(words));
    AlignmentOptions options;
    options.groupSize = 2;
    const Alignments expected = {{0, 2, 0}, {0, 3, 0}, {1, 2, 0}, {1, 3, 0}};
    QCOMPARE(findAlignments(records, options).alignments, expected);
}

void TestAlignments::threadsAndRangesDoNotMatter_data()
{
    QTest::addColumn<int>("threadCount");
    QTest::addColumn<int>("placesAtOnce");
    QTest::newRow("two threads") << 2 << 1000000;
    QTest::newRow("eight threads") << 8 << 1000000;
    QTest::newRow("small ranges") << 1 << 100;
    QTest::newRow("eight threads, small ranges") << 8 << 800;
    QTest::newRow("less than a place for a thread") << 8 << 1;
}

void TestAlignments::threadsAndRangesDoNotMatter()
{
    QFETCH(const int, threadCount);
    QFETCH(const int, placesAtOnce);
    const Records records = relatives();
    const FoundAlignments expected = findAlignments(records, {});
    QCOMPARE_GT(expected.alignments.size(), 10U);

    AlignmentOptions options;
    options.threadCount = threadCount;
    options.placesAtOnce = placesAtOnce;
    const FoundAlignments found = findAlignments(records, options);
    QCOMPARE(found.alignments, expected.alignments);
    QCOMPARE(found.seeds, expected.seeds);
}

void TestAlignments::orderOfRecordsDoesNotMatter()
{
    Records records = relatives();
    const FoundAlignments expected = findAlignments(records, {});
    std::reverse(records.begin(), records.end());
    const FoundAlignments found = findAlignments(records, {});
    QCOMPARE(found.alignments.size(), expected.alignments.size());
    const int last = static_cast<int>(records.size()) - 1;
    for (const Alignment& alignment : expected.alignments) {
        QVERIFY(hasAlignment(found,
                             {last - alignment.second, last - alignment.first, -alignment.shift}));
    }
}

void TestAlignments::wordsInTooManyPlacesAreLeftOutAndCounted_data()
{
    QTest::addColumn<int>("copies");
    QTest::addColumn<int>("commonWords");
    QTest::newRow("eight places") << 8 << 0;
    QTest::newRow("nine places") << 9 << 30;
}

void TestAlignments::wordsInTooManyPlacesAreLeftOutAndCounted()
{
    QFETCH(const int, copies);
    QFETCH(const int, commonWords);
    const Records records(copies, record(walkingWords(m_random, 30)));
    AlignmentOptions options;
    options.mostPlaces = 8;
    const FoundAlignments found = findAlignments(records, options);
    QCOMPARE(found.commonWords, commonWords);
    QCOMPARE(found.commonPlaces, qint64(commonWords) * copies);
    const qint64 pairs = qint64(copies) * (copies - 1) / 2;
    QCOMPARE(std::ssize(found.alignments), commonWords > 0 ? 0 : pairs);
}

void TestAlignments::unchangingWordsAreNotAligned()
{
    const Records records = {record(Words(200, 0x256df977U)), record(Words(300, 0x256df977U))};
    const FoundAlignments found = findAlignments(records, {});
    QCOMPARE(found.seeds, 1);
    QVERIFY(found.alignments.empty());
}

void TestAlignments::alikeForAFewSecondsIsNotEnough_data()
{
    QTest::addColumn<int>("leastWords");
    QTest::addColumn<bool>("isAligned");
    QTest::newRow("long enough") << 100 << true;
    QTest::newRow("far shorter") << 600 << false;
}

void TestAlignments::alikeForAFewSecondsIsNotEnough()
{
    QFETCH(const int, leastWords);
    QFETCH(const bool, isAligned);
    const Words common = walkingWords(m_random, 100);
    const Records records = {
        record(walkingWords(m_random, 200) + common + walkingWords(m_random, 200)),
        record(walkingWords(m_random, 200) + common + walkingWords(m_random, 200))};
    AlignmentOptions options;
    options.leastWords = leastWords;
    QCOMPARE(!findAlignments(records, options).alignments.empty(), isAligned);
}

void TestAlignments::progressEndsWithAll()
{
    AlignmentOptions options;
    QList<double> steps;
    options.progress = [&steps](double done) { steps += done; };
    findAlignments(relatives(), options);
    QVERIFY(std::is_sorted(steps.begin(), steps.end()));
    QCOMPARE(steps.last(), 1.0);
}

void TestAlignments::stopEndsTheSearch()
{
    std::stop_source stop;
    stop.request_stop();
    AlignmentOptions options;
    options.stop = stop.get_token();
    QCOMPARE(findAlignments(relatives(), options).seeds, 0);
}

QTEST_GUILESS_MAIN(TestAlignments)
#include "tst_alignments.moc"
