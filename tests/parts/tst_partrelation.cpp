#include "parts/partrelation.h"

#include <QTest>

using parts::PartOfFile;
using parts::PartRelation;
using parts::relationOf;

class TestPartRelation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void relationFollowsFromShares_data();
    void relationFollowsFromShares();
    void partHasSomethingBeforeAndBehind();
    void shareIsNeverMoreThanAll();
    void fileWithoutLengthHasNoShare();
};

void TestPartRelation::relationFollowsFromShares_data()
{
    QTest::addColumn<double>("firstSeconds");
    QTest::addColumn<double>("secondSeconds");
    QTest::addColumn<PartRelation>("relation");
    // The part has 95 seconds.
    QTest::newRow("a piece of both") << 200.0 << 300.0 << PartRelation::Partial;
    QTest::newRow("most of the first") << 100.1 << 300.0 << PartRelation::Partial;
    QTest::newRow("all of the first") << 100.0 << 300.0 << PartRelation::FirstInSecond;
    QTest::newRow("all of the second") << 300.0 << 100.0 << PartRelation::SecondInFirst;
    QTest::newRow("half of both") << 190.0 << 190.0 << PartRelation::SameRecording;
    QTest::newRow("less than half of one") << 190.1 << 100.1 << PartRelation::Partial;
    QTest::newRow("all of one, half of the other") << 95.0 << 190.0 << PartRelation::SameRecording;
}

void TestPartRelation::relationFollowsFromShares()
{
    QFETCH(const double, firstSeconds);
    QFETCH(const double, secondSeconds);
    QFETCH(const PartRelation, relation);
    QCOMPARE(relationOf({firstSeconds, 0.0, 95.0}, {secondSeconds, 0.0, 95.0}), relation);
}

void TestPartRelation::partHasSomethingBeforeAndBehind()
{
    const PartOfFile part = {200.0, 30.0, 150.0};
    QCOMPARE(part.before(), 30.0);
    QCOMPARE(part.behind(), 20.0);
    QCOMPARE(part.share(), 0.75);
}

void TestPartRelation::shareIsNeverMoreThanAll()
{
    // A stated length can be shorter than what was decoded.
    const PartOfFile part = {10.0, 5.0, 20.0};
    QCOMPARE(part.share(), 1.0);
    QCOMPARE(part.behind(), 0.0);
}

void TestPartRelation::fileWithoutLengthHasNoShare()
{
    QCOMPARE((PartOfFile{0.0, 0.0, 20.0}).share(), 0.0);
    QCOMPARE(relationOf({0.0, 0.0, 20.0}, {20.0, 0.0, 20.0}), PartRelation::SecondInFirst);
}

QTEST_GUILESS_MAIN(TestPartRelation)
#include "tst_partrelation.moc"
