#include "parts/partextent.h"
#include "parts/sharedparts.h"
#include "support/fingerprintwords.h"

#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;

using parts::findSharedParts;
using parts::kSecondsPerWord;
using parts::PartOptions;
using parts::SharedPart;
using support::walkingWords;
using support::Words;

namespace {

using Records = QList<FingerprintRecord>;

FingerprintRecord record(const Words& words)
{
    const double seconds = static_cast<double>(words.size()) * kSecondsPerWord + 2.6;
    return {u"/file"_s, words, static_cast<int>(std::lround(seconds * 1000.0)), 44100, 2};
}

/** Parts as text: records, where each begins, and how many words it has. */
QString textOf(const QList<SharedPart>& parts)
{
    QStringList texts;
    for (const SharedPart& part : parts) {
        texts += u"%1 at %2 = %3 at %4, %5 words, %6 %"_s.arg(part.first)
                     .arg(part.stretch.firstBegin)
                     .arg(part.second)
                     .arg(part.stretch.secondBegin)
                     .arg(part.stretch.wordCount)
                     .arg(part.stretch.similarity());
    }
    return texts.join(u'\n');
}

} // namespace

class TestSharedParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void trackInAnAlbumIsFound();
    void partsOfOnePairAreInTheirOrder();
    void repeatedMusicIsListedOnce();
    void shorterPartsAreLeftOut();
    void shorterPartsWithinOtherSoundAreLeftOut();
    void lessSimilarPartsAreLeftOut();
    void duplicatesAsAWholeAreLeftOut();
    void onlyPairsOfDifferentGroupsAreCompared();
    void threadsDoNotMatter_data();
    void threadsDoNotMatter();
    void silenceTonesAndNoiseHaveNoParts();
    void recordsWithoutWordsHaveNone();
    void progressRisesToAll();
    void stopEndsTheSearch();

private:
    Words words(int count)
    {
        return walkingWords(m_random, count);
    }

    std::mt19937 m_random;
};

void TestSharedParts::init()
{
    m_random.seed(11);
}

void TestSharedParts::trackInAnAlbumIsFound()
{
    const Words track = words(1500);
    const Records records = {record(words(2000) + track + words(3000)),
                             record(support::withErrors(m_random, track, 10))};
    QCOMPARE(textOf(findSharedParts(records, {}).parts), u"0 at 2000 = 1 at 0, 1500 words, 92 %"_s);
}

void TestSharedParts::partsOfOnePairAreInTheirOrder()
{
    const Words one = words(300);
    const Words two = words(200);
    const Records records = {record(one + words(100) + two), record(two + words(50) + one)};
    QCOMPARE(textOf(findSharedParts(records, {}).parts),
             u"0 at 0 = 1 at 250, 300 words, 100 %\n0 at 400 = 1 at 0, 200 words, 100 %"_s);
}

void TestSharedParts::repeatedMusicIsListedOnce()
{
    const Words loop = words(200);
    const Records records = {record(loop + loop + loop + words(500)), record(loop)};
    QCOMPARE(textOf(findSharedParts(records, {}).parts), u"0 at 0 = 1 at 0, 200 words, 100 %"_s);
}

void TestSharedParts::shorterPartsAreLeftOut()
{
    const Words piece = words(parts::wordsOfLength(20.0));
    const auto found = [&](const Words& common) {
        const Records records = {record(words(500) + common + words(500)), record(common)};
        return findSharedParts(records, {}).parts.size();
    };
    QCOMPARE(found(piece), 1);
    QCOMPARE(found(piece.mid(1)), 0);
}

void TestSharedParts::shorterPartsWithinOtherSoundAreLeftOut()
{
    // Their words reach into the sound around them.
    const double reach = parts::kSecondsBeforePart + parts::kSecondsBehindPart;
    const auto found = [this](int wordCount) {
        const Words piece = words(wordCount);
        const Records records = {record(words(500) + piece + words(500)),
                                 record(words(300) + piece + words(700))};
        return findSharedParts(records, {}).parts.size();
    };
    QCOMPARE(found(parts::wordsOfLength(20.0 + reach) + 1), 1);
    QCOMPARE(found(parts::wordsOfLength(20.0 + reach) - 4), 0);
}

void TestSharedParts::lessSimilarPartsAreLeftOut()
{
    const Words piece = words(300);
    const Records records = {record(words(500) + piece + words(500)),
                             record(support::withErrors(m_random, piece, 30))};
    PartOptions options;
    const int similarity =
        findSharedParts(records, options).parts.constFirst().stretch.similarity();
    options.threshold = similarity;
    QCOMPARE(findSharedParts(records, options).parts.size(), 1);
    options.threshold = similarity + 1;
    QVERIFY(findSharedParts(records, options).parts.isEmpty());
}

void TestSharedParts::duplicatesAsAWholeAreLeftOut()
{
    const Words song = words(1000);
    const Records records = {record(song), record(support::withErrors(m_random, song, 10)),
                             record(words(1000) + song)};
    QCOMPARE(textOf(findSharedParts(records, {}).parts),
             u"0 at 0 = 2 at 1000, 1000 words, 100 %\n1 at 0 = 2 at 1000, 1000 words, 91 %"_s);
}

void TestSharedParts::onlyPairsOfDifferentGroupsAreCompared()
{
    const Words song = words(400);
    const Records records = {record(song + words(100)), record(words(200) + song),
                             record(words(300) + song), record(words(450) + song)};
    PartOptions options;
    options.groupSize = 1;
    QCOMPARE(textOf(findSharedParts(records, options).parts),
             u"0 at 0 = 1 at 200, 400 words, 100 %\n0 at 0 = 2 at 300, 400 words, 100 %\n"
             "0 at 0 = 3 at 450, 400 words, 100 %"_s);
}

void TestSharedParts::threadsDoNotMatter_data()
{
    QTest::addColumn<int>("threadCount");
    QTest::newRow("2") << 2;
    QTest::newRow("8") << 8;
}

void TestSharedParts::threadsDoNotMatter()
{
    QFETCH(const int, threadCount);
    const Words source = words(3000);
    Records records;
    for (int i = 0; i < 20; ++i) {
        const auto begin = static_cast<qsizetype>(m_random() % 2500);
        records += record(words(static_cast<int>(m_random() % 300)) +
                          support::withErrors(m_random, source.mid(begin, 500), 12));
    }
    PartOptions options;
    const QList<SharedPart> expected = findSharedParts(records, options).parts;
    QCOMPARE_GT(expected.size(), 20);
    options.threadCount = threadCount;
    QCOMPARE(findSharedParts(records, options).parts, expected);
}

void TestSharedParts::silenceTonesAndNoiseHaveNoParts()
{
    Records records;
    for (int i = 0; i < 30; ++i) {
        const auto word = static_cast<quint32>(m_random());
        records += record(Words(400, 0x256df977U));
        records += record(Words(400, word));
        // A tone that is switched on and off.
        records += record(Words(300, word) + Words(300, 0x256df977U) + Words(300, word));
        records += record(support::randomWords(m_random, 400));
    }
    QVERIFY(findSharedParts(records, {}).parts.isEmpty());
}

void TestSharedParts::recordsWithoutWordsHaveNone()
{
    QVERIFY(findSharedParts({}, {}).parts.isEmpty());
    QVERIFY(findSharedParts({record({}), record({1}), record({})}, {}).parts.isEmpty());
}

void TestSharedParts::progressRisesToAll()
{
    const Words song = words(400);
    PartOptions options;
    QList<double> steps;
    options.progress = [&steps](double done) { steps += done; };
    findSharedParts({record(song + words(100)), record(words(200) + song)}, options);
    QVERIFY(std::is_sorted(steps.begin(), steps.end()));
    QCOMPARE(steps.last(), 1.0);
}

void TestSharedParts::stopEndsTheSearch()
{
    const Words song = words(400);
    std::stop_source stop;
    PartOptions options;
    options.stop = stop.get_token();
    const Records records = {record(song + words(100)), record(words(200) + song)};
    QCOMPARE(findSharedParts(records, options).parts.size(), 1);
    stop.request_stop();
    QVERIFY(findSharedParts(records, options).parts.isEmpty());
}

QTEST_GUILESS_MAIN(TestSharedParts)
#include "tst_sharedparts.moc"
