#include "compare/errorbound.h"

#include "support/fingerprintwords.h"
#include "support/kernelrows.h"

#include <QTest>

#include <algorithm>
#include <bit>
#include <random>
#include <vector>

using compare::BitCounts;
using support::randomWords;
using support::walkingWords;
using support::withErrors;
using support::Words;

namespace {

constexpr unsigned kSeed = 20261122;

std::span<const std::uint32_t> spanOf(const Words& words)
{
    return {words.constData(), static_cast<std::size_t>(words.size())};
}

/** A fingerprint with its blocks counted. */
class Counted
{
public:
    explicit Counted(const Words& words)
    {
        for (std::size_t level = 0; level < m_blocks.size(); ++level) {
            m_blocks[level].resize(
                compare::kBoundLevels[level].blockCount(static_cast<std::size_t>(words.size())));
        }
        compare::countBlocks(spanOf(words), {m_blocks[0].data(), m_blocks[1].data()});
    }
    compare::CountedBlocks blocks() const
    {
        return {m_blocks[0], m_blocks[1]};
    }

private:
    std::array<std::vector<BitCounts>, compare::kBoundLevels.size()> m_blocks;
};

/** The fewest differing bits of all shifts, by definition; at most what fits into 31 bits. */
std::uint32_t fewestErrors(const Words& first, const Words& second)
{
    qint64 fewest = std::numeric_limits<int>::max();
    for (qsizetype shift = -39; shift <= 39; ++shift) {
        qint64 errors = 0;
        for (qsizetype i = std::max<qsizetype>(0, -shift);
             i < second.size() && i + shift < first.size(); ++i) {
            errors += std::popcount(first.at(i + shift) ^ second.at(i));
        }
        fewest = std::min(fewest, errors);
    }
    return static_cast<std::uint32_t>(fewest);
}

/** The number from which on \a first rules \a second out no longer: what it knows to differ. */
std::uint32_t boundOf(const Words& first, const Words& second)
{
    compare::CountEnvelope envelope;
    envelope.assign(spanOf(first));
    const Counted counted(second);
    std::uint32_t ruledOut = 0; // how many allowed errors are ruled out: 0 to this number less one
    for (std::uint32_t step = 1U << 24; step > 0; step /= 2) {
        if (envelope.rulesOut(counted.blocks(), ruledOut + step - 1)) {
            ruledOut += step;
        }
    }
    return ruledOut;
}

Words shifted(std::mt19937& random, const Words& words, qsizetype shift)
{
    return shift >= 0 ? words.mid(shift) : randomWords(random, -shift) + words;
}

} // namespace

/** The bound from below for the differing bits of two fingerprints. */
class TestErrorBound : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        compare::setSimilarityKernelForTests(nullptr);
    }

    void blocksAreCountedByDefinition_data();
    void blocksAreCountedByDefinition();
    void kernelSumsByDefinition_data();
    void kernelSumsByDefinition();
    void boundNeverExceedsTheErrorsOfAnyShift_data();
    void boundNeverExceedsTheErrorsOfAnyShift();
    void identicalFingerprintsAreNeverRuledOut();
    void strangersAreRuledOutAtEveryShift();
    void differenceAtOneEndIsFound_data();
    void differenceAtOneEndIsFound();
    void blockThatReachesBeyondTheEndIsNotCounted();
    void withoutAWholeBlockNothingIsRuledOut();
};

void TestErrorBound::blocksAreCountedByDefinition_data()
{
    QTest::addColumn<int>("wordCount");
    for (const int count : {0, 1, 31, 32, 33, 63, 64, 65, 127, 128, 500}) {
        QTest::addRow("%d words", count) << count;
    }
}

void TestErrorBound::blocksAreCountedByDefinition()
{
    QFETCH(const int, wordCount);
    std::mt19937 random(kSeed);
    const Words words = randomWords(random, wordCount) + Words(wordCount % 2, 0xFFFFFFFFU);
    const Counted counted(words);
    for (std::size_t level = 0; level < compare::kBoundLevels.size(); ++level) {
        const auto length = static_cast<qsizetype>(compare::kBoundLevels[level].blockWords);
        const auto blocks = counted.blocks()[level];
        QCOMPARE(std::ssize(blocks), words.size() / length);
        for (qsizetype block = 0; block < std::ssize(blocks); ++block) {
            for (unsigned bit = 0; bit < 32; ++bit) {
                int expected = 0;
                for (const unsigned word : words.mid(block * length, length)) {
                    expected += static_cast<int>((word >> bit) & 1U);
                }
                QCOMPARE(int(blocks[static_cast<std::size_t>(block)].ofBit[bit]), expected);
            }
        }
    }
}

void TestErrorBound::kernelSumsByDefinition_data()
{
    support::addKernelRows();
}

void TestErrorBound::kernelSumsByDefinition()
{
    QFETCH(const bool, supported);
    if (!supported) {
        QSKIP("This processor lacks it.");
    }
    const compare::SimilarityKernel& kernel = support::kernelOfRow();
    std::mt19937 random(kSeed);
    for (std::size_t blocks = 0; blocks < 40; ++blocks) {
        std::vector<BitCounts> counts(blocks);
        std::vector<BitCounts> least(blocks);
        std::vector<BitCounts> most(blocks);
        std::uint32_t expected = 0;
        std::vector<std::uint32_t> sumsBefore; // each block
        for (std::size_t i = 0; i < blocks; ++i) {
            sumsBefore.push_back(expected);
            for (unsigned bit = 0; bit < 32; ++bit) {
                const int count = static_cast<int>(random() % 65);
                const int low = static_cast<int>(random() % 65);
                const int high = low + static_cast<int>(random() % 65) * (64 - low) / 64;
                counts[i].ofBit[bit] = static_cast<std::uint8_t>(count);
                least[i].ofBit[bit] = static_cast<std::uint8_t>(low);
                most[i].ofBit[bit] = static_cast<std::uint8_t>(high);
                expected += static_cast<std::uint32_t>(std::max({0, low - count, count - high}));
            }
        }
        const auto sum = [&](std::uint32_t allowed) {
            return kernel.errorsOutside(counts.data(), least.data(), most.data(), blocks, allowed);
        };
        QCOMPARE(sum(0xFFFFFFFFU), expected);
        QCOMPARE(sum(expected), expected);
        QVERIFY(expected == 0 || sum(expected - 1) > expected - 1);
        QVERIFY(sum(0) <= expected);
        // As many errors as are allowed are no reason to leave out the other blocks.
        for (const std::uint32_t before : sumsBefore) {
            QVERIFY(sum(before) > before || before == expected);
        }
    }
}

void TestErrorBound::boundNeverExceedsTheErrorsOfAnyShift_data()
{
    QTest::addColumn<int>("shift");
    for (const int shift :
         {-64, -40, -39, -38, -25, -24, -23, -9, -8, -1, 0, 1, 7, 8, 24, 25, 38, 39, 40, 64}) {
        QTest::addRow("shift %d", shift) << shift;
    }
}

void TestErrorBound::boundNeverExceedsTheErrorsOfAnyShift()
{
    QFETCH(const int, shift);
    std::mt19937 random(kSeed);
    const int rounds = qMax(qEnvironmentVariableIntValue("QUORVEL_BOUND_ROUNDS"), 1);
    for (int round = 0; round < 30 * rounds; ++round) {
        const auto length = static_cast<qsizetype>(random() % (round % 3 == 0 ? 700 : 200));
        Words first = walkingWords(random, length);
        if (round % 5 == 0) {
            first.fill(round % 2 == 0 ? 0U : 0xFFFFFFFFU);
        }
        const auto damage = static_cast<unsigned>(random() % 140);
        const Words second = withErrors(random, shifted(random, first, shift), damage)
                                 .mid(0, static_cast<qsizetype>(random() % 800));
        for (const auto& [one, other] : {std::pair(first, second), std::pair(second, first)}) {
            const std::uint32_t bound = boundOf(one, other);
            const std::uint32_t fewest = fewestErrors(one, other);
            QVERIFY2(bound <= fewest, qPrintable(QStringLiteral("round %1: bound %2, errors %3")
                                                     .arg(round)
                                                     .arg(bound)
                                                     .arg(fewest)));
        }
    }
}

void TestErrorBound::identicalFingerprintsAreNeverRuledOut()
{
    std::mt19937 random(kSeed);
    const Words words = walkingWords(random, 1900);
    for (qsizetype shift = 0; shift <= 39; ++shift) {
        QCOMPARE(boundOf(words, words.mid(shift)), 0U);
        QCOMPARE(boundOf(words.mid(shift), words), 0U);
    }
    QVERIFY(boundOf(words, words.mid(40)) > 0U);
    QVERIFY(boundOf(words.mid(40), words) > 0U);
}

void TestErrorBound::strangersAreRuledOutAtEveryShift()
{
    // 15 percent of all bits is what a similarity of 70 allows.
    std::mt19937 random(kSeed);
    int ruledOut = 0;
    for (int pair = 0; pair < 20; ++pair) {
        const Words first = walkingWords(random, 1900);
        const Words second = walkingWords(random, 1900);
        ruledOut += boundOf(first, second) > 1900U * 32U * 15U / 100U ? 1 : 0;
    }
    QVERIFY2(ruledOut >= 15, qPrintable(QString::number(ruledOut)));
}

void TestErrorBound::differenceAtOneEndIsFound_data()
{
    QTest::addColumn<qsizetype>("block");
    for (const qsizetype block : {1, 2, 3, 4, 5}) {
        QTest::addRow("block %lld", block) << block;
    }
}

void TestErrorBound::differenceAtOneEndIsFound()
{
    // Silence, but for one block of 64 words, which no shift meets in the other: 64 times 32 bits.
    QFETCH(const qsizetype, block);
    const Words silence(64 * 7, 0U);
    Words other = silence;
    std::fill_n(other.begin() + 64 * block, 64, 0xFFFFFFFFU);
    QCOMPARE(boundOf(silence, other), 64U * 32U);
    QCOMPARE(fewestErrors(silence, other), 64U * 32U);
}

void TestErrorBound::blockThatReachesBeyondTheEndIsNotCounted()
{
    // One block of ones behind silence. The envelope held a longer silence before, which must not
    // stand in for what the shorter one lacks.
    Words second(96, 0U);
    std::fill_n(second.begin() + 64, 32, 0xFFFFFFFFU);
    const Counted counted(second);
    const Words longer(400, 0U);
    for (qsizetype count = 64; count < 180; ++count) {
        const Words first(count, 0U);
        compare::CountEnvelope envelope;
        envelope.assign(spanOf(longer));
        envelope.assign(spanOf(first));
        QVERIFY2(!envelope.rulesOut(counted.blocks(), fewestErrors(first, second)),
                 qPrintable(QString::number(count)));
    }
}

void TestErrorBound::withoutAWholeBlockNothingIsRuledOut()
{
    const Words zeros(2000, 0U);
    for (const qsizetype count : {0, 1, 31}) {
        QCOMPARE(boundOf(zeros, Words(count, 0xFFFFFFFFU)), 0U);
        QCOMPARE(boundOf(Words(count, 0xFFFFFFFFU), zeros), 0U);
    }
    QVERIFY(boundOf(zeros, Words(400, 0xFFFFFFFFU)) > 0U);
}

QTEST_GUILESS_MAIN(TestErrorBound)
#include "tst_errorbound.moc"
