#include "compare/durationgate.h"
#include "compare/durationorder.h"

#include <QTest>

#include <algorithm>
#include <limits>
#include <random>

namespace {

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

QList<FingerprintRecord> recordsOf(const QList<int>& durations)
{
    QList<FingerprintRecord> records;
    for (const int durationMs : durations) {
        records.append({QString::number(records.size()), {1U}, durationMs, 44100, 2});
    }
    return records;
}

/** The positions that the order gives for \a durationMs, sorted; a repeated one stays repeated. */
QList<int> comparable(const compare::DurationOrder& order, int durationMs)
{
    QList<int> positions;
    for (const auto run : order.comparableTo(durationMs)) {
        positions.append(QList<int>(run.begin(), run.end()));
    }
    std::sort(positions.begin(), positions.end());
    return positions;
}

/** The same by asking for each record. */
QList<int> comparableByTrial(const QList<int>& durations, int durationMs)
{
    QList<int> positions;
    for (int i = 0; i < durations.size(); ++i) {
        if (compare::durationsComparable(durationMs, durations.at(i))) {
            positions.append(i);
        }
    }
    return positions;
}

} // namespace

class TestDurationOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void durationsUpToFiveSecondsApartAreComparable_data();
    void durationsUpToFiveSecondsApartAreComparable();
    void givesWhatIsComparableAndNothingElse_data();
    void givesWhatIsComparableAndNothingElse();
    void positionsAscendByDuration();
    void recordsWithoutAFingerprintAreLeftOut();
    void emptyListGivesNothing();
};

void TestDurationOrder::durationsUpToFiveSecondsApartAreComparable_data()
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

void TestDurationOrder::durationsUpToFiveSecondsApartAreComparable()
{
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(bool, comparable);
    QCOMPARE(compare::durationsComparable(first, second), comparable);
    QCOMPARE(compare::durationsComparable(second, first), comparable);
}

void TestDurationOrder::givesWhatIsComparableAndNothingElse_data()
{
    QTest::addColumn<QList<int>>("durations");
    QTest::newRow("around the reach") << QList<int>{10000, 15000, 15001, 5000, 4999, 10000};
    QTest::newRow("unknown and none") << QList<int>{-1, 0, 1, 4999, 5000, -5000, -5001};
    QTest::newRow("ends of the range") << QList<int>{
        kLargest, kLargest - 1, kSmallest, kSmallest + 1, kSmallest + 5000, kLargest - 4999};
    QTest::newRow("opposite") << QList<int>{0,  kSmallest, 1,     kSmallest + 1,
                                            -1, kLargest,  70000, kSmallest + 70000};
    std::mt19937 random(1);
    QList<int> music;
    QList<int> anything;
    for (int i = 0; i < 500; ++i) {
        music.append(static_cast<int>(random() % 60000));
        anything.append(static_cast<int>(random()));
        anything.append(static_cast<int>(random() % 20000 - 10000 + (random() % 2 << 31)));
    }
    QTest::newRow("like music") << music;
    QTest::newRow("anything") << anything;
}

void TestDurationOrder::givesWhatIsComparableAndNothingElse()
{
    QFETCH(const QList<int>, durations);
    const compare::DurationOrder order(recordsOf(durations));
    qsizetype found = 0;
    for (const int durationMs : durations) {
        QCOMPARE(comparable(order, durationMs), comparableByTrial(durations, durationMs));
        found += comparable(order, durationMs).size();
    }
    QVERIFY(found > durations.size());
    QVERIFY(found < durations.size() * durations.size());
}

void TestDurationOrder::positionsAscendByDuration()
{
    const compare::DurationOrder order(recordsOf({300, 100, 200, 100}));
    const auto positions = order.positions();
    QCOMPARE(QList<int>(positions.begin(), positions.end()), QList<int>({1, 3, 2, 0}));
}

void TestDurationOrder::recordsWithoutAFingerprintAreLeftOut()
{
    QList<FingerprintRecord> records = recordsOf({0, 0, 0});
    std::get<1>(records[1]).clear();
    const compare::DurationOrder order(records);
    QCOMPARE(comparable(order, 0), QList<int>({0, 2}));
}

void TestDurationOrder::emptyListGivesNothing()
{
    const compare::DurationOrder order({});
    QVERIFY(order.positions().empty());
    QVERIFY(comparable(order, 0).isEmpty());
}

QTEST_APPLESS_MAIN(TestDurationOrder)
#include "tst_durationorder.moc"
