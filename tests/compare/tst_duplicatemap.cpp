#include "compare/audioinfomap.h"
#include "compare/duplicatemap.h"

#include <QTest>

#include <limits>

namespace {

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

FingerprintRecord record(const char* path, QList<quint32> words, int durationMs,
                         int sampleRateHz = 44100, int channels = 2)
{
    return {QString::fromLatin1(path), std::move(words), durationMs, sampleRateHz, channels};
}

} // namespace

class TestDuplicateMap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void durationsUpToFiveSecondsApartAreComparable_data();
    void durationsUpToFiveSecondsApartAreComparable();
    void gatedPairIsZeroWithoutALookAtTheFingerprints();
    void similarityIsTheLargerOfBothDirections();
    void failedFileIsZeroToEverything();
    void thresholdKeepsItsOwnValueAndDropsOneLess();
    void entriesKeepTheOrderInWhichTheyArrive();
    void keyExistsOnlyWithAnEntry();
    void thresholdOfZeroEntersEveryPair();
    void keysAreOrderedByUtf16CodeUnit();
    void audioInfoOfALaterRecordReplacesAnEarlierOne();
};

void TestDuplicateMap::durationsUpToFiveSecondsApartAreComparable_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<bool>("comparable");
    QTest::newRow("equal") << 10000 << 10000 << true;
    QTest::newRow("exactly 5000 apart") << 10000 << 15000 << true;
    QTest::newRow("5001 apart") << 10000 << 15001 << false;
    QTest::newRow("exactly 5000 apart, longer first") << 15000 << 10000 << true;
    QTest::newRow("5001 apart, longer first") << 15001 << 10000 << false;
    QTest::newRow("unknown and short") << -1 << 4999 << true;
    QTest::newRow("unknown and 5000") << -1 << 5000 << false;
    QTest::newRow("failed and unknown") << 0 << -1 << true;
    QTest::newRow("largest and 0") << kLargest << 0 << false;
    QTest::newRow("largest and unknown: wraps to the one value without a positive counterpart")
        << kLargest << -1 << true;
    QTest::newRow("largest and smallest wrap around to 1 apart") << kLargest << kSmallest << true;
    QTest::newRow("smallest and 0") << kSmallest << 0 << true;
}

void TestDuplicateMap::durationsUpToFiveSecondsApartAreComparable()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(bool, comparable);
    QCOMPARE(compare::durationsComparable(first, second), comparable);
    QCOMPARE(compare::durationsComparable(second, first), comparable);
}

void TestDuplicateMap::gatedPairIsZeroWithoutALookAtTheFingerprints()
{
    QCOMPARE(
        compare::recordSimilarity(record("a", {1, 2, 3}, 10000), record("b", {1, 2, 3}, 15000)),
        100);
    QCOMPARE(
        compare::recordSimilarity(record("a", {1, 2, 3}, 10000), record("b", {1, 2, 3}, 15001)), 0);
}

void TestDuplicateMap::similarityIsTheLargerOfBothDirections()
{
    const QList<quint32> whole{0xFFFF0000U, 0x00FF00FFU, 0x0F0F0F0FU};
    const QList<quint32> later = whole.mid(1);
    QCOMPARE(compare::recordSimilarity(record("a", whole, 1), record("b", later, 1)), 100);
    QCOMPARE(compare::recordSimilarity(record("a", later, 1), record("b", whole, 1)), 100);
}

void TestDuplicateMap::failedFileIsZeroToEverything()
{
    QCOMPARE(compare::recordSimilarity(record("a", {}, 0), record("b", {}, 0)), 0);
    QCOMPARE(compare::recordSimilarity(record("a", {}, 0), record("b", {7}, 0)), 0);
}

void TestDuplicateMap::thresholdKeepsItsOwnValueAndDropsOneLess()
{
    DuplicateMap map;
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("b"), 70, 70);
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("c"), 69, 70);
    QCOMPARE(map, (DuplicateMap{{QStringLiteral("a"), {{QStringLiteral("b"), 70}}}}));
}

void TestDuplicateMap::entriesKeepTheOrderInWhichTheyArrive()
{
    DuplicateMap map;
    for (const char* path : {"z", "b", "m", "b"}) {
        compare::addIfDuplicate(map, QStringLiteral("a"), QString::fromLatin1(path), 80, 70);
    }
    const QList<std::tuple<QString, int>> expected{{QStringLiteral("z"), 80},
                                                   {QStringLiteral("b"), 80},
                                                   {QStringLiteral("m"), 80},
                                                   {QStringLiteral("b"), 80}};
    QCOMPARE(map.value(QStringLiteral("a")), expected);
}

void TestDuplicateMap::keyExistsOnlyWithAnEntry()
{
    DuplicateMap map;
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("b"), 0, 1);
    QVERIFY(map.isEmpty());
}

void TestDuplicateMap::thresholdOfZeroEntersEveryPair()
{
    DuplicateMap map;
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("b"), 0, 0);
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("c"), 0, -5);
    QCOMPARE(map.value(QStringLiteral("a")).size(), 2);
}

void TestDuplicateMap::keysAreOrderedByUtf16CodeUnit()
{
    DuplicateMap map;
    // U+FF5E sorts behind the surrogates of U+1F600 by code unit, before it by code point.
    const QStringList paths{QStringLiteral("b"), QStringLiteral("B"), u"\uFF5E"_qs,
                            u"\U0001F600"_qs, QStringLiteral("a")};
    for (const QString& path : paths) {
        compare::addIfDuplicate(map, path, QStringLiteral("x"), 100, 70);
    }
    const QStringList expected{QStringLiteral("B"), QStringLiteral("a"), QStringLiteral("b"),
                               u"\U0001F600"_qs, u"\uFF5E"_qs};
    QCOMPARE(map.keys(), expected);
}

void TestDuplicateMap::audioInfoOfALaterRecordReplacesAnEarlierOne()
{
    const AudioInfoMap map = compare::buildAudioInfoMap(
        {record("a", {}, 1, 8000, 1), record("b", {}, 2, 16000, 2), record("a", {}, 3, 22050, 6)},
        {record("b", {}, 4, 48000, 8), record("c", {}, -1, 11025, 1)});
    const AudioInfoMap expected{{QStringLiteral("a"), {3, 22050, 6}},
                                {QStringLiteral("b"), {4, 48000, 8}},
                                {QStringLiteral("c"), {-1, 11025, 1}}};
    QCOMPARE(map, expected);
}

QTEST_GUILESS_MAIN(TestDuplicateMap)
#include "tst_duplicatemap.moc"
