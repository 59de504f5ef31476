#include "app/remainingtime.h"

#include <QLocale>
#include <QTest>

using namespace Qt::StringLiterals;

class TestRemainingTime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void estimateFollowsTheMeanPace_data();
    void estimateFollowsTheMeanPace();
    void minutesStayWhileTheyAreNearlyRight_data();
    void minutesStayWhileTheyAreNearlyRight();
    void textIsAsCoarseAsItIsLong_data();
    void textIsAsCoarseAsItIsLong();
};

void TestRemainingTime::estimateFollowsTheMeanPace_data()
{
    QTest::addColumn<qint64>("elapsedMs");
    QTest::addColumn<qint64>("done");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<qint64>("expectedMs"); // -1 for none
    const auto row = [](const char* name, qint64 elapsedMs, qint64 done, qint64 total,
                        qint64 expectedMs) {
        QTest::newRow(name) << elapsedMs << done << total << expectedMs;
    };
    row("nothing done", 60'000, 0, 10, -1);
    row("in the first seconds", 4'999, 5, 10, -1);
    row("after them", 5'000, 5, 10, 5'000);
    row("slowly", 600'000, 1, 3, 1'200'000);
    row("as the example", 150'000, 1'204, 8'000, 846'677);
    row("everything done", 10'000, 10, 10, 0);
    row("more done than there is", 10'000, 11, 10, 0);
    row("pairs of the largest group", 3'600'000, 1, 2'147'450'880, 7'730'823'164'400'000);
}

void TestRemainingTime::estimateFollowsTheMeanPace()
{
    QFETCH(qint64, elapsedMs);
    QFETCH(qint64, done);
    QFETCH(qint64, total);
    QTEST(remainingTime::estimateMs(elapsedMs, done, total).value_or(-1), "expectedMs");
}

void TestRemainingTime::minutesStayWhileTheyAreNearlyRight_data()
{
    QTest::addColumn<qint64>("remainingMs");
    QTest::addColumn<int>("shown"); // -1 for none
    QTest::addColumn<int>("expected");
    const auto row = [](const char* name, qint64 remainingMs, int shown, int expected) {
        QTest::newRow(name) << remainingMs << shown << expected;
    };
    row("first, rounded down", 89'999, -1, 1);
    row("first, rounded up", 90'000, -1, 2);
    row("first, under half a minute", 29'999, -1, 0);
    row("two, until 45 seconds less", 75'000, 2, 2);
    row("two, less than that", 74'999, 2, 1);
    row("two, until 45 seconds more", 165'000, 2, 2);
    row("two, more than that", 165'001, 2, 3);
    row("none, until 45 seconds", 45'000, 0, 0);
    row("none, more than that", 45'001, 0, 1);
    row("twenty, until a tenth less", 18 * 60'000, 20, 20);
    row("twenty, less than that", 18 * 60'000 - 1, 20, 18);
    row("too many for a number", 7'730'823'164'400'000, 5, 2'147'483'647);
}

void TestRemainingTime::minutesStayWhileTheyAreNearlyRight()
{
    QFETCH(qint64, remainingMs);
    QFETCH(int, shown);
    const auto before = shown < 0 ? std::nullopt : std::optional<int>(shown);
    QTEST(remainingTime::steadyMinutes(remainingMs, before), "expected");
}

void TestRemainingTime::textIsAsCoarseAsItIsLong_data()
{
    QTest::addColumn<int>("minutes");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << 0 << u"less than a minute left"_s;
    QTest::newRow("one") << 1 << u"about 1 minute left"_s;
    QTest::newRow("two") << 2 << u"about 2 minutes left"_s;
    QTest::newRow("an hour and a half") << 99 << u"about 99 minutes left"_s;
    QTest::newRow("longer") << 100 << u"about 2 hours left"_s;
    QTest::newRow("two hours and half an hour") << 150 << u"about 3 hours left"_s;
    QTest::newRow("less than that") << 149 << u"about 2 hours left"_s;
    QTest::newRow("very long") << 60'000'000 << u"about 1,000,000 hours left"_s;
}

void TestRemainingTime::textIsAsCoarseAsItIsLong()
{
    QFETCH(int, minutes);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QTEST(remainingTime::text(minutes), "text");
}

QTEST_GUILESS_MAIN(TestRemainingTime)
#include "tst_remainingtime.moc"
