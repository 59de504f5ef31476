#include "compare/recordsimilarity.h"

#include "support/fingerprintwords.h"

#include <QTest>

#include <random>

using compare::recordSimilarity;
using compare::recordSimilarityAtLeast;

namespace {

FingerprintRecord record(const char* path, QList<quint32> words, int durationMs)
{
    return {QString::fromLatin1(path), std::move(words), durationMs, 44100, 2};
}

} // namespace

class TestRecordSimilarity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void gatedPairIsZeroWithoutALookAtTheFingerprints();
    void similarityIsTheLargerOfBothDirections();
    void failedFileIsZeroToEverything();
    void boundedSimilarityIsExactFromTheThresholdOn_data();
    void boundedSimilarityIsExactFromTheThresholdOn();
    void boundedSimilarityOfAGatedPairReachesNoThreshold();
};

void TestRecordSimilarity::gatedPairIsZeroWithoutALookAtTheFingerprints()
{
    QCOMPARE(recordSimilarity(record("a", {1, 2, 3}, 10000), record("b", {1, 2, 3}, 15000)), 100);
    QCOMPARE(recordSimilarity(record("a", {1, 2, 3}, 10000), record("b", {1, 2, 3}, 15001)), 0);
}

void TestRecordSimilarity::similarityIsTheLargerOfBothDirections()
{
    const QList<quint32> whole{0xFFFF0000U, 0x00FF00FFU, 0x0F0F0F0FU};
    const QList<quint32> later = whole.mid(1);
    QCOMPARE(recordSimilarity(record("a", whole, 1), record("b", later, 1)), 100);
    QCOMPARE(recordSimilarity(record("a", later, 1), record("b", whole, 1)), 100);
}

void TestRecordSimilarity::failedFileIsZeroToEverything()
{
    QCOMPARE(recordSimilarity(record("a", {}, 0), record("b", {}, 0)), 0);
    QCOMPARE(recordSimilarity(record("a", {}, 0), record("b", {7}, 0)), 0);
}

void TestRecordSimilarity::boundedSimilarityIsExactFromTheThresholdOn_data()
{
    QTest::addColumn<bool>("firstStartsLater");
    QTest::newRow("first starts later") << true;
    QTest::newRow("second starts later") << false;
}

void TestRecordSimilarity::boundedSimilarityIsExactFromTheThresholdOn()
{
    QFETCH(const bool, firstStartsLater);
    std::mt19937 random(20261122);
    const support::Words whole = support::randomWords(random, 300);
    const support::Words later = support::withErrors(random, whole.mid(20), 20);
    const FingerprintRecord first = record("a", firstStartsLater ? later : whole, 10000);
    const FingerprintRecord second = record("b", firstStartsLater ? whole : later, 12500);
    const int exact = recordSimilarity(first, second);
    QVERIFY2(exact > 70 && exact < 95, qPrintable(QString::number(exact)));
    for (int threshold = -1; threshold <= 101; ++threshold) {
        const int bounded = recordSimilarityAtLeast(first, second, threshold);
        QVERIFY2(threshold <= exact ? bounded == exact : bounded < threshold,
                 qPrintable(QStringLiteral("%1 at %2").arg(bounded).arg(threshold)));
    }
}

void TestRecordSimilarity::boundedSimilarityOfAGatedPairReachesNoThreshold()
{
    for (const int threshold : {0, 1, 100}) {
        QCOMPARE(recordSimilarityAtLeast(record("a", {1, 2, 3}, 10000),
                                         record("b", {1, 2, 3}, 15001), threshold),
                 0);
    }
}

QTEST_APPLESS_MAIN(TestRecordSimilarity)
#include "tst_recordsimilarity.moc"
