#include "compare/comparisonworklist.h"

#include <QTest>

#include <limits>

using compare::IndexPair;

class TestComparisonWorkList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void betweenGroupsPairsEveryFirstWithEverySecondInOrder();
    void withinGroupPairsEachUnorderedPairOnceLowerFirst();
    void smallListsHaveNoPairs();
    void countsMatchTheLists();
    void requestedStopEndsTheBuilding();
    void listThatNoMemoryHoldsIsNotBuilt();
    void countBeyondTheFrameworksIntDoesNotFit();
    void listLargerThanTheMemoryDoesNotFit();
    void unknownMemoryIsTakenAsEnough();
    void availableMemoryIsToldAndCanBeSetForTests();

    void cleanup()
    {
        compare::setAvailableMemoryForTests(std::nullopt);
    }
};

void TestComparisonWorkList::betweenGroupsPairsEveryFirstWithEverySecondInOrder()
{
    const QList<IndexPair> expected{{0, 0}, {0, 1}, {0, 2}, {1, 0}, {1, 1}, {1, 2}};
    QCOMPARE(compare::betweenGroupsPairs(2, 3).value(), expected);
}

void TestComparisonWorkList::withinGroupPairsEachUnorderedPairOnceLowerFirst()
{
    const QList<IndexPair> expected{{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
    QCOMPARE(compare::withinGroupPairs(4).value(), expected);
}

void TestComparisonWorkList::smallListsHaveNoPairs()
{
    QVERIFY(compare::withinGroupPairs(0)->isEmpty());
    QVERIFY(compare::withinGroupPairs(1)->isEmpty());
    QVERIFY(compare::betweenGroupsPairs(0, 5)->isEmpty());
    QVERIFY(compare::betweenGroupsPairs(5, 0)->isEmpty());
}

void TestComparisonWorkList::countsMatchTheLists()
{
    for (int n = 0; n < 30; ++n) {
        QCOMPARE(compare::withinGroupPairCount(n), compare::withinGroupPairs(n)->size());
        QCOMPARE(compare::betweenGroupsPairCount(n, 7), compare::betweenGroupsPairs(n, 7)->size());
    }
    QCOMPARE(compare::withinGroupPairCount(1000000), qint64(499999500000));
    QCOMPARE(compare::betweenGroupsPairCount(1000000, 1000000), qint64(1000000000000));
}

void TestComparisonWorkList::requestedStopEndsTheBuilding()
{
    std::stop_source source;
    source.request_stop();
    QVERIFY(compare::withinGroupPairs(100, source.get_token())->isEmpty());
    QVERIFY(compare::betweenGroupsPairs(100, 100, source.get_token())->isEmpty());
}

void TestComparisonWorkList::listThatNoMemoryHoldsIsNotBuilt()
{
    const int largest = std::numeric_limits<int>::max();
    QVERIFY(!compare::betweenGroupsPairs(largest, largest).has_value());
    QVERIFY(!compare::withinGroupPairs(largest).has_value());
}

void TestComparisonWorkList::countBeyondTheFrameworksIntDoesNotFit()
{
    const qint64 largest = std::numeric_limits<int>::max();
    QVERIFY(compare::comparisonFits(largest, std::nullopt));
    QVERIFY(!compare::comparisonFits(largest + 1, std::nullopt));
    // The first collection that does not fit within one group.
    QVERIFY(compare::comparisonFits(compare::withinGroupPairCount(65536), std::nullopt));
    QVERIFY(!compare::comparisonFits(compare::withinGroupPairCount(65537), std::nullopt));
}

void TestComparisonWorkList::listLargerThanTheMemoryDoesNotFit()
{
    QCOMPARE(qint64(sizeof(IndexPair)), qint64(8));
    QVERIFY(compare::comparisonFits(100, 800));
    QVERIFY(!compare::comparisonFits(100, 799));
    QVERIFY(compare::comparisonFits(0, 0));
}

void TestComparisonWorkList::unknownMemoryIsTakenAsEnough()
{
    QVERIFY(compare::comparisonFits(1000000000, std::nullopt));
}

void TestComparisonWorkList::availableMemoryIsToldAndCanBeSetForTests()
{
#ifdef Q_OS_LINUX
    QVERIFY(compare::availableMemoryBytes().has_value());
    QVERIFY(*compare::availableMemoryBytes() > qint64{1024} * 1024);
#endif
    compare::setAvailableMemoryForTests(12345);
    QCOMPARE(compare::availableMemoryBytes(), std::optional<qint64>(12345));
}

QTEST_GUILESS_MAIN(TestComparisonWorkList)
#include "tst_comparisonworklist.moc"
