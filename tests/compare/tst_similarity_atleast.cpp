#include "compare/errorsoutside.h"
#include "compare/similarity.h"

#include "support/fingerprintwords.h"
#include "support/kernelrows.h"

#include <QTest>

#include <limits>
#include <random>

using support::randomWords;
using support::withErrors;
using support::Words;

namespace {

constexpr unsigned kSeed = 20260103;

/** Whether the promise of getSimilarityAtLeast() is kept, with \a exact the unbounded value. */
bool keepsPromise(const Words& first, const Words& second, int threshold, int exact)
{
    const int bounded = compare::getSimilarityAtLeast(first, second, threshold);
    const bool kept = exact >= threshold ? bounded == exact : bounded < threshold;
    if (!kept) {
        qWarning("sizes %lld and %lld, threshold %d: %d, not bounded %d", first.size(),
                 second.size(), threshold, bounded, exact);
    }
    return kept;
}

bool keepsPromiseAtEveryThreshold(const Words& first, const Words& second)
{
    const int exact = getSimilarity(first, second);
    for (int threshold = -1; threshold <= 102; ++threshold) {
        if (!keepsPromise(first, second, threshold, exact)) {
            return false;
        }
    }
    return true;
}

/** Counts its calls and the word pairs that it was given, then does as the table does. */
qsizetype countedWords = 0;

void countWords(const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
                std::size_t secondCount, std::uint32_t* errors)
{
    countedWords += static_cast<qsizetype>(secondCount);
    compare::kTableKernel.addErrors(first, firstCount, second, secondCount, errors);
}

constexpr compare::SimilarityKernel kCountingKernel = {"counting", [] { return true; }, &countWords,
                                                       &compare::errorsOutsidePortable};

} // namespace

class TestSimilarityAtLeast : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void nothingReachesMoreThanOneHundred();
    void thresholdOfZeroOrLessGivesTheExactValue();
    void emptyListsAreBelowEveryThreshold();
    void valueOnTheThresholdIsExact_data();
    void valueOnTheThresholdIsExact();
    void damagedAndShiftedCopiesKeepThePromiseAtEveryThreshold_data();
    void damagedAndShiftedCopiesKeepThePromiseAtEveryThreshold();
    void unequalLengthsKeepThePromiseAtEveryThreshold();
    void matchAtTheLastOffsetIsFound();
    void unrelatedFingerprintsAreGivenUpEarly();
    void matchThatBeginsBadlyIsNotGivenUp();
};

void TestSimilarityAtLeast::cleanup()
{
    compare::setSimilarityKernelForTests(nullptr);
}

void TestSimilarityAtLeast::nothingReachesMoreThanOneHundred()
{
    std::mt19937 random(kSeed);
    const Words words = randomWords(random, 100);
    QVERIFY(compare::getSimilarityAtLeast(words, words, 101) <= 100);
    QCOMPARE(compare::getSimilarityAtLeast(words, words, 100), 100);
}

void TestSimilarityAtLeast::thresholdOfZeroOrLessGivesTheExactValue()
{
    std::mt19937 random(kSeed);
    for (const int threshold : {0, -1, -100, std::numeric_limits<int>::min()}) {
        for (const unsigned damage : {20U, 60U, 110U, 128U}) {
            const Words words = randomWords(random, 200);
            const Words other = withErrors(random, words, damage);
            QCOMPARE(compare::getSimilarityAtLeast(words, other, threshold),
                     getSimilarity(words, other));
        }
    }
}

void TestSimilarityAtLeast::emptyListsAreBelowEveryThreshold()
{
    for (const int threshold : {1, 50, 100, 101}) {
        QVERIFY(compare::getSimilarityAtLeast({}, {}, threshold) < threshold);
        QVERIFY(compare::getSimilarityAtLeast({1, 2}, {}, threshold) < threshold);
        QVERIFY(compare::getSimilarityAtLeast({}, {1, 2}, threshold) < threshold);
    }
    QCOMPARE(compare::getSimilarityAtLeast({}, {1, 2}, 0), 0);
}

void TestSimilarityAtLeast::valueOnTheThresholdIsExact_data()
{
    QTest::addColumn<int>("wordCount");
    for (const int count : {1, 2, 3, 7, 25, 100, 999, 1900}) {
        QTest::addRow("%d words", count) << count;
    }
}

void TestSimilarityAtLeast::valueOnTheThresholdIsExact()
{
    QFETCH(int, wordCount);
    Words first(wordCount, 0U);
    const Words second(wordCount, 0U);
    for (int errors = 0; errors <= 16 * wordCount; ++errors) {
        const int exact = getSimilarity(first, second);
        for (const int threshold : {exact - 1, exact, exact + 1}) {
            QVERIFY(keepsPromise(first, second, threshold, exact));
        }
        first[errors / 32] |= 1U << (errors % 32);
    }
}

void TestSimilarityAtLeast::damagedAndShiftedCopiesKeepThePromiseAtEveryThreshold_data()
{
    support::addKernelRows();
}

void TestSimilarityAtLeast::damagedAndShiftedCopiesKeepThePromiseAtEveryThreshold()
{
    QFETCH(const bool, supported);
    if (!supported) {
        QSKIP("This processor lacks it.");
    }
    compare::setSimilarityKernelForTests(&support::kernelOfRow());
    std::mt19937 random(kSeed);
    for (int round = 0; round < 400; ++round) {
        const auto length = static_cast<qsizetype>(random() % (round % 8 == 0 ? 1200 : 200));
        const Words first = randomWords(random, length);
        const Words second = withErrors(random, first.mid(static_cast<qsizetype>(random() % 45)),
                                        static_cast<unsigned>(random() % 140));
        QVERIFY(keepsPromiseAtEveryThreshold(first, second));
        QVERIFY(keepsPromiseAtEveryThreshold(second, first));
    }
}

void TestSimilarityAtLeast::unequalLengthsKeepThePromiseAtEveryThreshold()
{
    std::mt19937 random(kSeed);
    for (const qsizetype count : {1, 2, 31, 32, 33, 39, 40, 41, 64, 79, 500}) {
        const Words longer = randomWords(random, 3000);
        for (const unsigned damage : {0U, 30U, 90U, 128U}) {
            const Words shorter = withErrors(random, longer.mid(20, count), damage);
            QVERIFY(keepsPromiseAtEveryThreshold(longer, shorter));
            QVERIFY(keepsPromiseAtEveryThreshold(shorter, longer));
        }
    }
}

void TestSimilarityAtLeast::matchAtTheLastOffsetIsFound()
{
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 1900);
    QCOMPARE(compare::getSimilarityAtLeast(first, first.mid(39), 100), 100);
    QVERIFY(compare::getSimilarityAtLeast(first, first.mid(40), 70) < 70);
}

void TestSimilarityAtLeast::unrelatedFingerprintsAreGivenUpEarly()
{
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 1900);
    const Words second = randomWords(random, 1900);
    compare::setSimilarityKernelForTests(&kCountingKernel);
    // Errors of 15 percent of all bits rule 70 percent out, and half of the bits are wrong.
    countedWords = 0;
    compare::getSimilarityAtLeast(first, second, 70);
    QVERIFY2(countedWords < 1900 * 4 / 10, qPrintable(QString::number(countedWords)));
    countedWords = 0;
    compare::getSimilarityAtLeast(first, second, 98);
    QVERIFY2(countedWords < 1900 / 20, qPrintable(QString::number(countedWords)));
    // And no threshold makes it count a word twice.
    for (int threshold = 1; threshold <= 100; ++threshold) {
        countedWords = 0;
        compare::getSimilarityAtLeast(first, second, threshold);
        QVERIFY(countedWords <= 1900);
        countedWords = 0;
        compare::getSimilarityAtLeast(first, first, threshold);
        QCOMPARE(countedWords, 1900);
    }
}

void TestSimilarityAtLeast::matchThatBeginsBadlyIsNotGivenUp()
{
    std::mt19937 random(kSeed);
    for (const qsizetype bad : {100, 500, 560, 569, 570, 571, 600}) {
        const Words first = randomWords(random, 1900);
        const Words second = randomWords(random, bad) + first.mid(bad);
        QVERIFY(keepsPromiseAtEveryThreshold(first, second));
    }
}

QTEST_GUILESS_MAIN(TestSimilarityAtLeast)
#include "tst_similarity_atleast.moc"
