#include "compare/kernelchoice.h"
#include "compare/similarity.h"

#include "support/fingerprintwords.h"
#include "support/kernelrows.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

using compare::SimilarityKernel;
using support::addKernelRows;
using support::kernelOfRow;
using support::randomWords;
using support::withErrors;
using support::Words;

namespace {

constexpr unsigned kSeed = 20260102;

using Errors = std::array<std::uint32_t, compare::kOffsetCount>;

/** What \a kernel adds to sums that are not zero before. */
Errors errorsBy(const SimilarityKernel& kernel, const std::uint32_t* first, qsizetype firstCount,
                const std::uint32_t* second, qsizetype secondCount)
{
    Errors errors;
    for (std::size_t offset = 0; offset < errors.size(); ++offset) {
        errors[offset] = static_cast<std::uint32_t>(1000 * offset);
    }
    kernel.addErrors(first, static_cast<std::size_t>(firstCount), second,
                     static_cast<std::size_t>(secondCount), errors.data());
    return errors;
}

/** Bit by bit, with nothing in common with any kernel. */
Errors errorsByDefinition(const Words& first, const Words& second)
{
    Errors errors;
    for (std::size_t offset = 0; offset < errors.size(); ++offset) {
        errors[offset] = static_cast<std::uint32_t>(1000 * offset);
        const auto shift = static_cast<qsizetype>(offset);
        for (qsizetype k = 0; shift + k < first.size() && k < second.size(); ++k) {
            for (int bit = 0; bit < 32; ++bit) {
                errors[offset] += ((first.at(shift + k) ^ second.at(k)) >> bit) & 1U;
            }
        }
    }
    return errors;
}

/**
 * Words that lie directly at the end of their own allocation, which begins \a misalignment words
 * after a boundary, so that the address sanitizer sees a read of a single word too many.
 */
class PlacedWords
{
public:
    PlacedWords(const Words& words, qsizetype misalignment)
        : storage(std::make_unique<std::uint32_t[]>(
              static_cast<std::size_t>(words.size() + misalignment)))
        , begin(storage.get() + misalignment)
    {
        std::copy(words.begin(), words.end(), begin);
    }

    const std::uint32_t* data() const
    {
        return begin;
    }

private:
    std::unique_ptr<std::uint32_t[]> storage;
    std::uint32_t* begin;
};

/** Whether \a kernel counts what the table counts, wherever the two lists lie. */
bool agreesWithTable(const SimilarityKernel& kernel, const Words& first, const Words& second,
                     qsizetype firstMisalignment = 0, qsizetype secondMisalignment = 0)
{
    const PlacedWords a(first, firstMisalignment);
    const PlacedWords b(second, secondMisalignment);
    const Errors expected =
        errorsBy(compare::kTableKernel, a.data(), first.size(), b.data(), second.size());
    const bool agrees =
        errorsBy(kernel, a.data(), first.size(), b.data(), second.size()) == expected;
    if (!agrees) {
        qWarning("%s: sizes %lld and %lld, misaligned by %lld and %lld words", kernel.name,
                 first.size(), second.size(), firstMisalignment, secondMisalignment);
    }
    return agrees;
}

} // namespace

/** Every test runs once for each kernel of the build; those that the processor lacks are skipped.
 */
class TestSimilarityKernel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void tableAndOthersAreThere();
    void fastestSupportedKernelIsChosen();
    void hookChoosesAndRestores();
    void kernelsAreFoundByTheirNames();
    void tableCountsBitByBit();
    void everyPairOfSmallSizes_data();
    void everyPairOfSmallSizes();
    void everyMisalignment_data();
    void everyMisalignment();
    void randomSizes_data();
    void randomSizes();
    void veryUnequalLists_data();
    void veryUnequalLists();
    void longLists_data();
    void longLists();
    void extremeWords_data();
    void extremeWords();
    void everySingleBitCounts_data();
    void everySingleBitCounts();
    void sumsWrapAround_data();
    void sumsWrapAround();
    void runsOfWordsAddUp_data();
    void runsOfWordsAddUp();
    void similarityEqualsThatOfTheTable_data();
    void similarityEqualsThatOfTheTable();
    void threadsCompareAtTheSameTime_data();
    void threadsCompareAtTheSameTime();
};

void TestSimilarityKernel::init()
{
    if (!QTest::currentDataTag()) {
        return;
    }
    QFETCH(bool, supported);
    if (!supported) {
        QSKIP("This processor lacks it.");
    }
}

void TestSimilarityKernel::cleanup()
{
    compare::setSimilarityKernelForTests(nullptr);
}

void TestSimilarityKernel::tableAndOthersAreThere()
{
    QStringList names;
    for (const SimilarityKernel* kernel : compare::allSimilarityKernels()) {
        names.append(QString::fromLatin1(kernel->name));
    }
    names.sort();
#if defined(__x86_64__) && defined(__GNUC__)
    QCOMPARE(names, QStringList({QStringLiteral("avx2"), QStringLiteral("avx512"),
                                 QStringLiteral("popcnt"), QStringLiteral("popcount"),
                                 QStringLiteral("table")}));
#else
    QCOMPARE(names, QStringList({QStringLiteral("popcount"), QStringLiteral("table")}));
#endif
    QVERIFY(compare::kTableKernel.supported());
}

void TestSimilarityKernel::fastestSupportedKernelIsChosen()
{
    QString fastest;
    for (const SimilarityKernel* kernel : compare::allSimilarityKernels()) {
        if (kernel->supported()) {
            fastest = QString::fromLatin1(kernel->name);
        }
    }
    QCOMPARE(QString::fromLatin1(compare::similarityKernel().name), fastest);
}

void TestSimilarityKernel::hookChoosesAndRestores()
{
    const SimilarityKernel& usual = compare::similarityKernel();
    compare::setSimilarityKernelForTests(&compare::kPopcountKernel);
    QCOMPARE(&compare::similarityKernel(), &compare::kPopcountKernel);
    compare::setSimilarityKernelForTests(nullptr);
    QCOMPARE(&compare::similarityKernel(), &usual);
}

void TestSimilarityKernel::kernelsAreFoundByTheirNames()
{
    for (const SimilarityKernel* kernel : compare::allSimilarityKernels()) {
        QCOMPARE(compare::similarityKernelNamed(std::string(kernel->name)), kernel);
    }
    QVERIFY(compare::similarityKernelNamed("tab") == nullptr);
}

void TestSimilarityKernel::tableCountsBitByBit()
{
    std::mt19937 random(kSeed);
    for (int round = 0; round < 200; ++round) {
        const Words first = randomWords(random, static_cast<qsizetype>(random() % 100));
        const Words second = randomWords(random, static_cast<qsizetype>(random() % 100));
        QCOMPARE(errorsBy(compare::kTableKernel, first.constData(), first.size(),
                          second.constData(), second.size()),
                 errorsByDefinition(first, second));
    }
}

void TestSimilarityKernel::everyPairOfSmallSizes_data()
{
    addKernelRows();
}

void TestSimilarityKernel::everyPairOfSmallSizes()
{
    // Empty, one word, 39, 40 and 41 words, and one more and one less than every vector.
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    constexpr qsizetype kLargest = 130;
    for (qsizetype firstCount = 0; firstCount <= kLargest; ++firstCount) {
        const Words first = randomWords(random, firstCount);
        const Words words = randomWords(random, kLargest);
        for (qsizetype secondCount = 0; secondCount <= kLargest; ++secondCount) {
            QVERIFY(agreesWithTable(kernel, first, words.first(secondCount)));
        }
    }
}

void TestSimilarityKernel::everyMisalignment_data()
{
    addKernelRows();
}

void TestSimilarityKernel::everyMisalignment()
{
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 211);
    const Words second = randomWords(random, 190);
    for (qsizetype a = 0; a < 17; ++a) {
        for (qsizetype b = 0; b < 17; ++b) {
            QVERIFY(agreesWithTable(kernel, first, second, a, b));
            QVERIFY(agreesWithTable(kernel, first.first(41), second, a, b));
            QVERIFY(agreesWithTable(kernel, first, second.first(33), a, b));
        }
    }
}

void TestSimilarityKernel::randomSizes_data()
{
    addKernelRows();
}

void TestSimilarityKernel::randomSizes()
{
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    for (int round = 0; round < 1500; ++round) {
        const auto limit = static_cast<unsigned>(round % 3 == 0 ? 3000 : 600);
        const Words first = randomWords(random, static_cast<qsizetype>(random() % limit));
        const Words second = randomWords(random, static_cast<qsizetype>(random() % limit));
        QVERIFY(agreesWithTable(kernel, first, second, static_cast<qsizetype>(random() % 16),
                                static_cast<qsizetype>(random() % 16)));
    }
}

void TestSimilarityKernel::veryUnequalLists_data()
{
    addKernelRows();
}

void TestSimilarityKernel::veryUnequalLists()
{
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    const Words longer = randomWords(random, 20000);
    for (const qsizetype count : {0, 1, 2, 15, 16, 17, 31, 32, 33, 39, 40, 41, 71, 72, 103}) {
        const Words shorter = randomWords(random, count);
        QVERIFY(agreesWithTable(kernel, longer, shorter));
        QVERIFY(agreesWithTable(kernel, shorter, longer));
    }
}

void TestSimilarityKernel::longLists_data()
{
    addKernelRows();
}

void TestSimilarityKernel::longLists()
{
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 100000);
    const Words second = withErrors(random, first.mid(17), 20);
    QVERIFY(agreesWithTable(kernel, first, second));
    QVERIFY(agreesWithTable(kernel, second, first, 3, 5));
}

void TestSimilarityKernel::extremeWords_data()
{
    addKernelRows();
}

void TestSimilarityKernel::extremeWords()
{
    // Every bit of every word in error, the most that a partial sum has to hold, and none.
    const SimilarityKernel& kernel = kernelOfRow();
    for (const qsizetype count : {40, 72, 200, 5000, 70000}) {
        const Words zeros(count, 0U);
        const Words ones(count, 0xFFFFFFFFU);
        QVERIFY(agreesWithTable(kernel, zeros, ones));
        QVERIFY(agreesWithTable(kernel, ones, zeros));
        QVERIFY(agreesWithTable(kernel, ones, ones));
    }
}

void TestSimilarityKernel::everySingleBitCounts_data()
{
    addKernelRows();
}

void TestSimilarityKernel::everySingleBitCounts()
{
    const SimilarityKernel& kernel = kernelOfRow();
    const qsizetype count = 150;
    for (qsizetype bit = 0; bit < 32 * count; ++bit) {
        Words words(count, 0U);
        words[bit / 32] = 1U << (bit % 32);
        const Words zeros(count, 0U);
        QVERIFY(agreesWithTable(kernel, words, zeros));
        QVERIFY(agreesWithTable(kernel, zeros, words));
    }
}

void TestSimilarityKernel::sumsWrapAround_data()
{
    addKernelRows();
}

void TestSimilarityKernel::sumsWrapAround()
{
    const SimilarityKernel& kernel = kernelOfRow();
    const Words zeros(100, 0U);
    const Words ones(100, 0xFFFFFFFFU);
    Errors errors;
    errors.fill(0xFFFFFFFFU - 31U);
    kernel.addErrors(ones.constData(), 100, zeros.constData(), 100, errors.data());
    for (std::size_t offset = 0; offset < errors.size(); ++offset) {
        QCOMPARE(errors[offset], static_cast<std::uint32_t>(32 * (100 - offset) - 32));
    }
}

void TestSimilarityKernel::runsOfWordsAddUp_data()
{
    addKernelRows();
}

void TestSimilarityKernel::runsOfWordsAddUp()
{
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    for (int round = 0; round < 300; ++round) {
        const Words first = randomWords(random, static_cast<qsizetype>(random() % 500));
        const Words second = randomWords(random, static_cast<qsizetype>(random() % 500));
        Errors whole{};
        kernel.addErrors(first.constData(), static_cast<std::size_t>(first.size()),
                         second.constData(), static_cast<std::size_t>(second.size()), whole.data());
        Errors inRuns{};
        const qsizetype longest = std::min(first.size(), second.size());
        for (qsizetype done = 0; done < longest;) {
            const auto run = std::min(longest - done, 1 + static_cast<qsizetype>(random() % 150));
            const auto firstCount = std::min(
                first.size() - done, run + static_cast<qsizetype>(compare::kOffsetCount) - 1);
            kernel.addErrors(first.constData() + done, static_cast<std::size_t>(firstCount),
                             second.constData() + done, static_cast<std::size_t>(run),
                             inRuns.data());
            done += run;
        }
        QCOMPARE(inRuns, whole);
    }
}

void TestSimilarityKernel::similarityEqualsThatOfTheTable_data()
{
    addKernelRows();
}

void TestSimilarityKernel::similarityEqualsThatOfTheTable()
{
    std::mt19937 random(kSeed);
    for (int round = 0; round < 2000; ++round) {
        const Words first = randomWords(random, static_cast<qsizetype>(random() % 400));
        const Words second = withErrors(random, first.mid(static_cast<qsizetype>(random() % 45)),
                                        static_cast<unsigned>(random() % 140));
        compare::setSimilarityKernelForTests(&compare::kTableKernel);
        const int there = getSimilarity(first, second);
        const int back = getSimilarity(second, first);
        compare::setSimilarityKernelForTests(&kernelOfRow());
        QCOMPARE(getSimilarity(first, second), there);
        QCOMPARE(getSimilarity(second, first), back);
    }
}

void TestSimilarityKernel::threadsCompareAtTheSameTime_data()
{
    addKernelRows();
}

void TestSimilarityKernel::threadsCompareAtTheSameTime()
{
    const SimilarityKernel& kernel = kernelOfRow();
    std::mt19937 random(kSeed);
    const Words first = randomWords(random, 1900);
    const Words second = withErrors(random, first.mid(9), 25);
    const int expected = getSimilarity(first, second);
    compare::setSimilarityKernelForTests(&kernel);
    std::array<int, 8> similarities{};
    {
        std::vector<std::jthread> threads;
        for (int& similarity : similarities) {
            threads.emplace_back([&first, &second, &similarity] {
                similarity = 0;
                for (int round = 0; round < 20; ++round) {
                    similarity = getSimilarity(first, second);
                }
            });
        }
    }
    QVERIFY(std::all_of(similarities.begin(), similarities.end(),
                        [expected](int similarity) { return similarity == expected; }));
}

QTEST_GUILESS_MAIN(TestSimilarityKernel)
#include "tst_similaritykernel.moc"
