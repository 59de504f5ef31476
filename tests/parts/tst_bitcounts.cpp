#include "parts/bitcounts.h"
#include "support/fingerprintwords.h"

#include <QTest>

#include <bit>

using parts::BitCounts;
using parts::setBitsOf;

namespace {

/** Each bit of each word looked at by itself. */
BitCounts setBitsByDefinition(const support::Words& words)
{
    BitCounts counts = {};
    for (const quint32 word : words) {
        for (std::size_t bit = 0; bit < counts.size(); ++bit) {
            counts[bit] += (word >> bit) & 1U;
        }
    }
    return counts;
}

} // namespace

class TestBitCounts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void differingBitsAreCounted();
    void everyBitIsCounted_data();
    void everyBitIsCounted();
    void bitsSetInAllWordsAreCounted();
    void chanceErrorsAreTheMeanOverAllPairsOfWords();
};

void TestBitCounts::differingBitsAreCounted()
{
    std::mt19937 random(4);
    QCOMPARE(parts::differingBits(0, 0), 0);
    QCOMPARE(parts::differingBits(0, 0xFFFFFFFFU), 32);
    for (int i = 0; i < 10000; ++i) {
        const auto word = static_cast<quint32>(random());
        const auto other = static_cast<quint32>(random());
        QCOMPARE(parts::differingBits(word, other), std::popcount(word ^ other));
        QCOMPARE(parts::differingBits(word, word ^ (1U << (i % 32))), 1);
    }
}

// Sums are kept in bytes, for 255 words at once.
void TestBitCounts::everyBitIsCounted_data()
{
    QTest::addColumn<int>("wordCount");
    for (const int wordCount : {0, 1, 254, 255, 256, 511, 1000}) {
        QTest::addRow("%d words", wordCount) << wordCount;
    }
}

void TestBitCounts::everyBitIsCounted()
{
    QFETCH(const int, wordCount);
    std::mt19937 random(1);
    const support::Words words = support::randomWords(random, wordCount);
    QVERIFY(setBitsOf(words) == setBitsByDefinition(words));
}

void TestBitCounts::bitsSetInAllWordsAreCounted()
{
    const BitCounts counts = setBitsOf(support::Words(600, 0xFFFFFFFFU));
    for (const qint64 count : counts) {
        QCOMPARE(count, 600);
    }
}

// The words of one that are paired with any of the other belong together by chance alone.
void TestBitCounts::chanceErrorsAreTheMeanOverAllPairsOfWords()
{
    std::mt19937 random(2);
    const support::Words first = support::walkingWords(random, 60);
    const support::Words second = support::walkingWords(random, 60);
    qint64 errors = 0;
    for (const quint32 word : first) {
        for (const quint32 other : second) {
            errors += std::popcount(word ^ other);
        }
    }
    QCOMPARE(parts::chanceErrorsTimesWords(setBitsOf(first), setBitsOf(second), 60), errors);
}

QTEST_GUILESS_MAIN(TestBitCounts)
#include "tst_bitcounts.moc"
