#include "compare/similarity.h"

#include "support/fingerprintwords.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <random>

using support::randomWords;
using support::withErrors;
using support::Words;

namespace {

constexpr unsigned kSeed = 20260101;

int naivePopcnt(unsigned int value)
{
    int bits = 0;
    for (int bit = 0; bit < 32; ++bit) {
        bits += static_cast<int>((value >> bit) & 1U);
    }
    return bits;
}

/** The definition, bit by bit and word by word, with nothing clever about it. */
int naiveSimilarity(const Words& first, const Words& second)
{
    int best = 0;
    for (qsizetype offset = 0; offset < 40; ++offset) {
        if (offset >= first.size()) {
            break;
        }
        int errors = 0;
        int count = 0;
        for (qsizetype k = 0; offset + k < first.size() && k < second.size(); ++k) {
            errors += naivePopcnt(first.at(offset + k) ^ second.at(k));
            ++count;
        }
        const double ratio = (2.0 * errors) / (count * 32.0);
        const double score = 1.0 - ratio;
        const int value = score > 0.0 ? static_cast<int>(score * 100.0) : 0;
        best = std::max(best, value);
    }
    return best;
}

} // namespace

class TestSimilarity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tableHoldsTheBitsOfEveryByte();
    void popcntCountsTheBitsOfAllFourBytes_data();
    void popcntCountsTheBitsOfAllFourBytes();
    void emptyFirstIsZero();
    void emptySecondIsZero();
    void identicalListsAreOneHundred();
    void secondThatStartsLaterIsFoundUpToThirtyNineWords_data();
    void secondThatStartsLaterIsFoundUpToThirtyNineWords();
    void firstThatStartsLaterIsFoundByTheReverseCallOnly();
    void oneWordWithOneDifferingBitIsNinetyThree();
    void threeWordsWithTenDifferingBitsAreSeventyNine();
    void everyBitDifferingIsZero();
    void halfTheBitsDifferingIsZero();
    void percentageIsTruncated();
    void shortFirstTriesOnlyAsManyOffsetsAsItHasWords();
    void oneIdenticalWordIsOneHundred();
    void surplusWordsAreNotCompared();
    void bestOffsetWins();
    void unrelatedFingerprintsScoreLow();
    void equalsTheBitByBitDefinition();
    void argumentsAreLeftAlone();
};

void TestSimilarity::tableHoldsTheBitsOfEveryByte()
{
    for (unsigned k = 0; k < 256; ++k) {
        QCOMPARE(popcnt_table_8bit[k], naivePopcnt(k));
    }
}

void TestSimilarity::popcntCountsTheBitsOfAllFourBytes_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("bits");
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("all bits: the top byte is filled with zeros") << -1 << 32;
    QTest::newRow("the sign bit alone") << std::numeric_limits<int>::min() << 1;
    QTest::newRow("byte 0") << 0x000000FF << 8;
    QTest::newRow("byte 1") << 0x0000FF00 << 8;
    QTest::newRow("byte 2") << 0x00FF0000 << 8;
    QTest::newRow("byte 3") << static_cast<int>(0xFF000000U) << 8;
    QTest::newRow("mixed") << 0x12345678 << 13;
}

void TestSimilarity::popcntCountsTheBitsOfAllFourBytes()
{
    QFETCH(int, value);
    QTEST(popcnt(value), "bits");
}

void TestSimilarity::emptyFirstIsZero()
{
    QCOMPARE(getSimilarity({}, {}), 0);
    QCOMPARE(getSimilarity({}, {1, 2, 3}), 0);
}

void TestSimilarity::emptySecondIsZero()
{
    QCOMPARE(getSimilarity({1, 2, 3}, {}), 0);
}

void TestSimilarity::identicalListsAreOneHundred()
{
    std::mt19937 random(kSeed);
    for (const qsizetype count : {1, 2, 39, 40, 41, 1900}) {
        const Words words = randomWords(random, count);
        QCOMPARE(getSimilarity(words, words), 100);
    }
}

void TestSimilarity::secondThatStartsLaterIsFoundUpToThirtyNineWords_data()
{
    QTest::addColumn<qsizetype>("removed");
    QTest::addColumn<bool>("found");
    QTest::newRow("1 word") << qsizetype(1) << true;
    QTest::newRow("38 words") << qsizetype(38) << true;
    QTest::newRow("39 words") << qsizetype(39) << true;
    QTest::newRow("40 words") << qsizetype(40) << false;
    QTest::newRow("41 words") << qsizetype(41) << false;
}

void TestSimilarity::secondThatStartsLaterIsFoundUpToThirtyNineWords()
{
    QFETCH(qsizetype, removed);
    QFETCH(bool, found);
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 500);
    const int similarity = getSimilarity(first, first.mid(removed));
    QCOMPARE(similarity == 100, found);
}

void TestSimilarity::firstThatStartsLaterIsFoundByTheReverseCallOnly()
{
    std::mt19937 random(kSeed);
    const Words second = randomWords(random, 500);
    const Words first = second.mid(20);
    QVERIFY(getSimilarity(first, second) < 20);
    QCOMPARE(getSimilarity(second, first), 100);
}

void TestSimilarity::oneWordWithOneDifferingBitIsNinetyThree()
{
    QCOMPARE(getSimilarity({0x80000000U}, {0U}), 93);
}

void TestSimilarity::threeWordsWithTenDifferingBitsAreSeventyNine()
{
    // The two overlaps that are tried besides have 6 of 64 and 3 of 32 bits wrong or more.
    QCOMPARE(getSimilarity({0x0000000FU, 0xF0000000U, 0x00010010U}, {0U, 0U, 0U}),
             naiveSimilarity({0x0000000FU, 0xF0000000U, 0x00010010U}, {0U, 0U, 0U}));
    // With every word wrong by the same number of bits or more, the full overlap is the best one.
    QCOMPARE(getSimilarity({0x3U, 0xFU, 0xFU}, {0U, 0U, 0U}), 79);
}

void TestSimilarity::everyBitDifferingIsZero()
{
    QCOMPARE(getSimilarity({0xFFFFFFFFU}, {0U}), 0);
    QCOMPARE(getSimilarity({0x0F0F0F0FU, 0x0F0F0F0FU}, {0xF0F0F0F0U, 0xF0F0F0F0U}), 0);
}

void TestSimilarity::halfTheBitsDifferingIsZero()
{
    QCOMPARE(getSimilarity({0xFFFF0000U}, {0U}), 0);
    QCOMPARE(getSimilarity({0xFFFE0000U}, {0U}), 6);
}

void TestSimilarity::percentageIsTruncated()
{
    // 2 * 3 / 32 wrong: 81.25.
    QCOMPARE(getSimilarity({0x7U}, {0U}), 81);
    // 2 * 1 / 64 wrong: 96.875.
    QCOMPARE(getSimilarity({0x1U, 0x1U, 0x0U, 0x1U}, {0U, 0U}), 96);
}

void TestSimilarity::shortFirstTriesOnlyAsManyOffsetsAsItHasWords()
{
    const Words first{0xFFFFFFFFU, 0x0U};
    QCOMPARE(getSimilarity(first, {0U, 0xFFFFFFFFU}), 100); // at offset 1, one word
    QCOMPARE(getSimilarity({0xFFFFFFFFU}, {0U, 0xFFFFFFFFU}), 0);
}

void TestSimilarity::oneIdenticalWordIsOneHundred()
{
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 300);
    QCOMPARE(getSimilarity(first, {first.at(39)}), 100);
    QVERIFY(getSimilarity(first, {first.at(40)}) < 100);
}

void TestSimilarity::surplusWordsAreNotCompared()
{
    std::mt19937 random(kSeed);
    const Words common = randomWords(random, 100);
    QCOMPARE(getSimilarity(common + randomWords(random, 900), common), 100);
    QCOMPARE(getSimilarity(common, common + randomWords(random, 900)), 100);
}

void TestSimilarity::bestOffsetWins()
{
    std::mt19937 random(kSeed);
    const Words original = randomWords(random, 400);
    const Words first = randomWords(random, 7) + original;
    QCOMPARE(getSimilarity(first, original), 100);
    const Words damaged = withErrors(random, original, 13);
    QCOMPARE(getSimilarity(first, damaged), naiveSimilarity(first, damaged));
    QVERIFY(getSimilarity(first, damaged) > 80);
}

void TestSimilarity::unrelatedFingerprintsScoreLow()
{
    std::mt19937 random(kSeed);
    for (int round = 0; round < 50; ++round) {
        QVERIFY(getSimilarity(randomWords(random, 1000), randomWords(random, 1000)) < 10);
    }
}

void TestSimilarity::equalsTheBitByBitDefinition()
{
    std::mt19937 random(kSeed);
    const auto lengthUpTo = [&random](unsigned limit) {
        return static_cast<qsizetype>(random() % (limit + 1));
    };
    for (int round = 0; round < 4000; ++round) {
        const unsigned limit = round % 4 == 0 ? 300 : 60;
        Words first = randomWords(random, lengthUpTo(limit));
        Words second = randomWords(random, lengthUpTo(limit));
        if (round % 2 == 0) {
            // A damaged and shifted copy, so that the scores spread over the whole range.
            second = withErrors(random, first.mid(lengthUpTo(45)),
                                static_cast<unsigned>(random() % 140));
        }
        QCOMPARE(getSimilarity(first, second), naiveSimilarity(first, second));
        QCOMPARE(getSimilarity(second, first), naiveSimilarity(second, first));
    }
}

void TestSimilarity::argumentsAreLeftAlone()
{
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 100);
    const Words second = randomWords(random, 100);
    const Words firstBefore = first;
    const Words secondBefore = second;
    getSimilarity(first, second);
    QCOMPARE(first, firstBefore);
    QCOMPARE(second, secondBefore);
    QVERIFY(first.isSharedWith(firstBefore));
}

QTEST_GUILESS_MAIN(TestSimilarity)
#include "tst_similarity.moc"
