#include "parts/partextent.h"

#include <QTest>

using parts::extentOf;
using parts::kSecondsBeforePart;
using parts::kSecondsBehindPart;
using parts::kSecondsOfWord;
using parts::kSecondsPerWord;
using parts::PartExtent;

class TestPartExtent : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void partEndsWhereItsSoundDoes_data();
    void partEndsWhereItsSoundDoes();
    void partsSideBySideDoNotOverlap();
    void lengthIsFoundAgainASecondShorter_data();
    void lengthIsFoundAgainASecondShorter();
    void lengthOfNoWordNeedsOne();
};

void TestPartExtent::partEndsWhereItsSoundDoes_data()
{
    QTest::addColumn<int>("firstBegin");
    QTest::addColumn<int>("secondBegin");
    QTest::addColumn<double>("before");
    QTest::addColumn<double>("after");
    QTest::newRow("within both") << 100 << 300 << kSecondsBeforePart << kSecondsBehindPart;
    QTest::newRow("begins with the first") << 0 << 300 << 0.0 << kSecondsBehindPart;
    QTest::newRow("begins with the second") << 100 << 0 << 0.0 << kSecondsBehindPart;
    QTest::newRow("ends with the first") << 800 << 300 << kSecondsBeforePart << 0.0;
    QTest::newRow("ends with the second") << 100 << 400 << kSecondsBeforePart << 0.0;
}

void TestPartExtent::partEndsWhereItsSoundDoes()
{
    QFETCH(const int, firstBegin);
    QFETCH(const int, secondBegin);
    QFETCH(const double, before);
    QFETCH(const double, after);
    const PartExtent extent = extentOf({firstBegin, secondBegin, 200, 0}, 1000, 600);
    QCOMPARE(extent.firstBegin, firstBegin * kSecondsPerWord + before);
    QCOMPARE(extent.secondBegin, secondBegin * kSecondsPerWord + before);
    QCOMPARE(extent.seconds, 199 * kSecondsPerWord + kSecondsOfWord - before - after);
}

void TestPartExtent::partsSideBySideDoNotOverlap()
{
    const PartExtent left = extentOf({100, 100, 200, 0}, 1000, 1000);
    const PartExtent right = extentOf({300 + parts::kWordsBetweenParts, 500, 200, 0}, 1000, 1000);
    QCOMPARE_LE(left.firstBegin + left.seconds, right.firstBegin + 0.001);
}

void TestPartExtent::lengthIsFoundAgainASecondShorter_data()
{
    QTest::addColumn<double>("seconds");
    QTest::newRow("8 s") << 8.0;
    QTest::newRow("20 s") << 20.0;
    QTest::newRow("an hour") << 3600.0;
}

void TestPartExtent::lengthIsFoundAgainASecondShorter()
{
    QFETCH(const double, seconds);
    const int words = parts::wordsOfLength(seconds);
    const double length = extentOf({0, 0, words, 0}, words, words).seconds;
    QCOMPARE_LE(length, seconds - parts::kUncertainSeconds);
    QCOMPARE_GT(length, seconds - parts::kUncertainSeconds - kSecondsPerWord);
    QVERIFY(parts::isLongEnough(extentOf({0, 0, words, 0}, words, words), seconds));
    QVERIFY(!parts::isLongEnough(extentOf({0, 0, words - 1, 0}, words, words), seconds));
}

void TestPartExtent::lengthOfNoWordNeedsOne()
{
    QCOMPARE(parts::wordsOfLength(1.0), 1);
    QCOMPARE(extentOf({5, 5, 1, 0}, 100, 100).seconds,
             kSecondsOfWord - kSecondsBeforePart - kSecondsBehindPart);
}

QTEST_GUILESS_MAIN(TestPartExtent)
#include "tst_partextent.moc"
