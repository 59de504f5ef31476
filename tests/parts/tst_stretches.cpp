#include "parts/stretches.h"
#include "support/fingerprintwords.h"

#include <QTest>

#include <cmath>

using parts::Stretch;
using parts::stretchesAt;
using support::walkingWords;

namespace {

constexpr int kLeastWords = 40;

/** The stretches of two lists, as parts::stretchesAt() returns them. */
std::vector<Stretch> stretchesOf(const support::Words& first, const support::Words& second,
                                 int shift, int leastWords = kLeastWords)
{
    return stretchesAt({first.constData(), std::size_t(first.size())},
                       {second.constData(), std::size_t(second.size())}, shift, leastWords);
}

} // namespace

class TestStretches : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void commonWordsAreAStretch();
    void stretchEndsWithTheShorterFingerprint_data();
    void stretchEndsWithTheShorterFingerprint();
    void bitsThatDifferAreCounted();
    void shortDifferenceDoesNotEndAStretch_data();
    void shortDifferenceDoesNotEndAStretch();
    void shorterStretchesAreLeftOut();
    void wordsThatDoNotChangeAreNoStretch();
    void wordsAlikeByChanceAreNoStretch();
    void wordsWithoutVarietyAreNoStretch();
    void fingerprintsThatDoNotMeetHaveNone_data();
    void fingerprintsThatDoNotMeetHaveNone();
    void pieceHasItsOwnErrors();
    void similarityIsThatOfTheMeasure();

private:
    std::mt19937 m_random;
};

void TestStretches::init()
{
    m_random.seed(3);
}

void TestStretches::commonWordsAreAStretch()
{
    const support::Words common = walkingWords(m_random, 200);
    const support::Words first = walkingWords(m_random, 100) + common + walkingWords(m_random, 80);
    const support::Words second = walkingWords(m_random, 30) + common + walkingWords(m_random, 90);

    const std::vector<Stretch> expected = {{100, 30, 200, 0}};
    QCOMPARE(stretchesOf(first, second, -70), expected);
    const std::vector<Stretch> mirrored = {{30, 100, 200, 0}};
    QCOMPARE(stretchesOf(second, first, 70), mirrored);
    QVERIFY(stretchesOf(first, second, -40).empty());
}

void TestStretches::stretchEndsWithTheShorterFingerprint_data()
{
    QTest::addColumn<int>("begin");
    QTest::addColumn<int>("end");
    QTest::newRow("at the begin") << 0 << 100;
    QTest::newRow("in the middle") << 50 << 150;
    QTest::newRow("at the end") << 200 << 300;
    QTest::newRow("the whole") << 0 << 300;
}

void TestStretches::stretchEndsWithTheShorterFingerprint()
{
    QFETCH(const int, begin);
    QFETCH(const int, end);
    const support::Words whole = walkingWords(m_random, 300);
    const std::vector<Stretch> expected = {{begin, 0, end - begin, 0}};
    QCOMPARE(stretchesOf(whole, whole.mid(begin, end - begin), -begin), expected);
}

void TestStretches::bitsThatDifferAreCounted()
{
    const support::Words first = walkingWords(m_random, 100);
    support::Words second = first;
    second[10] ^= 0x80000001U;
    second[99] ^= 0x10U;
    const std::vector<Stretch> expected = {{0, 0, 100, 3}};
    QCOMPARE(stretchesOf(first, second, 0), expected);
}

void TestStretches::shortDifferenceDoesNotEndAStretch_data()
{
    QTest::addColumn<int>("differentWords");
    QTest::addColumn<int>("stretches");
    QTest::newRow("two seconds") << 16 << 1;
    QTest::newRow("four seconds") << 32 << 2;
}

void TestStretches::shortDifferenceDoesNotEndAStretch()
{
    QFETCH(const int, differentWords);
    QFETCH(const int, stretches);
    const support::Words begin = walkingWords(m_random, 100);
    const support::Words end = walkingWords(m_random, 100);
    const auto with = [&](const support::Words& middle) { return begin + middle + end; };
    const auto found = stretchesOf(with(walkingWords(m_random, differentWords)),
                                   with(walkingWords(m_random, differentWords)), 0);
    QCOMPARE(std::ssize(found), stretches);
    QCOMPARE(found.front().firstBegin, 0);
    QCOMPARE(found.back().firstBegin + found.back().wordCount, 200 + differentWords);
}

void TestStretches::shorterStretchesAreLeftOut()
{
    const support::Words words = walkingWords(m_random, kLeastWords);
    QCOMPARE(stretchesOf(words, words, 0).size(), 1U);
    QVERIFY(stretchesOf(words, words, 0, kLeastWords + 1).empty());
}

void TestStretches::wordsThatDoNotChangeAreNoStretch()
{
    support::Words words(100, 0x256df977U);
    QVERIFY(stretchesOf(words, words, 0).empty());
    // Bits that change with each word are no tone, what does not change is.
    support::Words changing = words;
    for (int i = 0; i < changing.size(); i += 2) {
        changing[i] ^= 0xFFFU;
    }
    QVERIFY(stretchesOf(changing, words, 0).empty());
    QVERIFY(stretchesOf(words, changing, 0).empty());
    QCOMPARE(stretchesOf(changing, changing, 0).size(), 1U);

    words += walkingWords(m_random, 100);
    QCOMPARE(stretchesOf(words, words, 0).size(), 1U);
}

void TestStretches::wordsAlikeByChanceAreNoStretch()
{
    // As in noise, each word has most of its bits from one that is common to all of them.
    const auto noise = [this] {
        return support::withErrors(m_random, support::Words(400, 0x256df977U), 30);
    };
    const support::Words first = noise();
    QVERIFY(stretchesOf(first, noise(), 0).empty());
    // Less than half of the errors that are expected by chance, and more.
    const double errors = 2.0 * 30.0 / 256.0 * (1.0 - 30.0 / 256.0);
    const auto probability = [errors](double share) {
        return static_cast<unsigned>(std::lround(errors * share * 256.0));
    };
    QCOMPARE(stretchesOf(first, first, 0).size(), 1U);
    QCOMPARE(stretchesOf(first, support::withErrors(m_random, first, probability(0.40)), 0).size(),
             1U);
    QVERIFY(stretchesOf(first, support::withErrors(m_random, first, probability(0.75)), 0).empty());
}

void TestStretches::wordsWithoutVarietyAreNoStretch()
{
    const auto isFound = [this](quint32 changingBits) {
        support::Words words(400);
        for (quint32& word : words) {
            word = m_random() % 2 == 0 ? changingBits : 0U;
        }
        return !stretchesOf(words, words, 0).empty();
    };
    QVERIFY(!isFound(0x1FFU));
    QVERIFY(isFound(0xFFFU));
}

void TestStretches::fingerprintsThatDoNotMeetHaveNone_data()
{
    QTest::addColumn<qsizetype>("firstCount");
    QTest::addColumn<qsizetype>("secondCount");
    QTest::addColumn<int>("shift");
    QTest::newRow("second behind first") << qsizetype(50) << qsizetype(50) << -50;
    QTest::newRow("second before first") << qsizetype(50) << qsizetype(50) << 50;
    QTest::newRow("far away") << qsizetype(50) << qsizetype(50) << -1000000;
    QTest::newRow("no words") << qsizetype(0) << qsizetype(50) << 0;
    QTest::newRow("no other words") << qsizetype(50) << qsizetype(0) << 0;
}

void TestStretches::fingerprintsThatDoNotMeetHaveNone()
{
    QFETCH(const qsizetype, firstCount);
    QFETCH(const qsizetype, secondCount);
    QFETCH(const int, shift);
    const support::Words words = walkingWords(m_random, 50);
    QVERIFY(stretchesOf(words.first(firstCount), words.first(secondCount), shift, 1).empty());
}

void TestStretches::pieceHasItsOwnErrors()
{
    const support::Words first = walkingWords(m_random, 100);
    support::Words second = walkingWords(m_random, 20) + first;
    second[20 + 10] ^= 1U;
    second[20 + 60] ^= 1U;
    const Stretch whole = stretchesOf(first, second, 20).front();
    QCOMPARE(whole, (Stretch{0, 20, 100, 2}));
    const Stretch piece =
        parts::pieceOf(whole, 50, 30, {first.constData(), 100U}, {second.constData(), 120U});
    QCOMPARE(piece, (Stretch{50, 70, 30, 1}));
}

void TestStretches::similarityIsThatOfTheMeasure()
{
    QCOMPARE((Stretch{0, 0, 100, 0}).similarity(), 100);
    QCOMPARE((Stretch{0, 0, 100, 480}).similarity(), 70);
    QCOMPARE((Stretch{0, 0, 100, 481}).similarity(), 69);
    QCOMPARE((Stretch{0, 0, 100, 3200}).similarity(), 0);
}

QTEST_GUILESS_MAIN(TestStretches)
#include "tst_stretches.moc"
