#include "parts/partextent.h"
#include "parts/partselection.h"
#include "support/fingerprintwords.h"

#include <QTest>

using parts::kWordsBetweenParts;
using parts::PartRequirements;
using parts::selectParts;
using parts::Stretch;

namespace {

using Stretches = std::vector<Stretch>;

constexpr PartRequirements kRequired = {50, 70};

/** What is selected of \a stretches of two fingerprints that are the same constant word. */
Stretches select(const Stretches& stretches, PartRequirements required = kRequired)
{
    const support::Words words(1000, 0U);
    const parts::Words all(words.constData(), std::size_t(words.size()));
    return selectParts(stretches, all, all, required);
}

} // namespace

class TestPartSelection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void partsThatDoNotOverlapAreKept();
    void bestOfOverlappingOnesIsWhole_data();
    void bestOfOverlappingOnesIsWhole();
    void shortPiecesAreDropped();
    void stretchAroundABetterOneLeavesTwoPieces();
    void unlikePiecesAreDropped();
    void orderOfStretchesDoesNotMatter();
};

void TestPartSelection::partsThatDoNotOverlapAreKept()
{
    const Stretches parts = {{0, 500, 100, 0}, {200, 0, 100, 0}, {400, 300, 100, 0}};
    QCOMPARE(select({parts[2], parts[0], parts[1]}), parts);
}

void TestPartSelection::bestOfOverlappingOnesIsWhole_data()
{
    QTest::addColumn<int>("secondBegin");
    QTest::addColumn<int>("piece");
    // The other stretch has the words from 150 to 300 of the first fingerprint.
    QTest::newRow("overlap in the first") << 600 << 200 + kWordsBetweenParts;
    QTest::newRow("overlap in both") << 150 << 200 + kWordsBetweenParts;
    QTest::newRow("larger overlap in the second") << 130 << 220 + kWordsBetweenParts;
}

void TestPartSelection::bestOfOverlappingOnesIsWhole()
{
    QFETCH(const int, secondBegin);
    QFETCH(const int, piece);
    const Stretch best = {0, 0, 200, 0};
    const Stretch other = {150, secondBegin, 150, 0};
    const Stretches expected = {best, {piece, secondBegin + piece - 150, 300 - piece, 0}};
    QCOMPARE(select({other, best}), expected);
}

void TestPartSelection::shortPiecesAreDropped()
{
    const Stretch best = {0, 0, 200, 0};
    const int left = kRequired.leastWords + kWordsBetweenParts;
    QCOMPARE(select({best, {190, 600, 10 + left, 0}}).size(), 2U);
    QCOMPARE(select({best, {190, 600, 10 + left - 1, 0}}), (Stretches{best}));
}

void TestPartSelection::stretchAroundABetterOneLeavesTwoPieces()
{
    const Stretch best = {400, 100, 200, 0};
    // Better than what surrounds it, since that one has errors.
    const Stretch around = {300, 400, 400, 2400};
    const Stretches expected = {
        {300, 400, 100 - kWordsBetweenParts, 0},
        best,
        {600 + kWordsBetweenParts, 700 + kWordsBetweenParts, 100 - kWordsBetweenParts, 0}};
    QCOMPARE(select({around, best}), expected);
}

void TestPartSelection::unlikePiecesAreDropped()
{
    support::Words first(1000, 0U);
    const support::Words second = first;
    // Alike enough as a whole; the last hundred words are not.
    for (int i = 300; i < 400; ++i) {
        first[i] = 0x3fU;
    }
    const Stretches found =
        selectParts({{0, 0, 300, 0}, {200, 200, 200, 600}}, {first.constData(), 1000U},
                    {second.constData(), 1000U}, kRequired);
    QCOMPARE(found, (Stretches{{0, 0, 300, 0}}));
}

void TestPartSelection::orderOfStretchesDoesNotMatter()
{
    Stretches stretches = {
        {0, 0, 200, 0}, {100, 300, 200, 0}, {300, 100, 200, 0}, {50, 50, 200, 9}};
    const Stretches expected = select(stretches);
    std::mt19937 random(4);
    for (int i = 0; i < 20; ++i) {
        std::shuffle(stretches.begin(), stretches.end(), random);
        QCOMPARE(select(stretches), expected);
    }
}

QTEST_GUILESS_MAIN(TestPartSelection)
#include "tst_partselection.moc"
