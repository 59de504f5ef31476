#include "results/rowtexts.h"

#include <QTest>

#include <limits>

class TestRowTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void durationIsWholeSecondsOfATimeOfDay_data();
    void durationIsWholeSecondsOfATimeOfDay();
    void durationIgnoresTheTimeZone();
    void cellsOfARow();
    void unknownPathHasZeros();
    void countTextHasItsSingular_data();
    void countTextHasItsSingular();
};

void TestRowTexts::durationIsWholeSecondsOfATimeOfDay_data()
{
    QTest::addColumn<int>("ms");
    QTest::addColumn<QString>("text");
    QTest::newRow("mixed") << 3723456 << QStringLiteral("01:02:03");
    QTest::newRow("truncated") << 59999 << QStringLiteral("00:00:59");
    QTest::newRow("zero") << 0 << QStringLiteral("00:00:00");
    QTest::newRow("unknown") << -1 << QStringLiteral("00:00:00");
    QTest::newRow("25 hours wrap") << 25 * 3600 * 1000 << QStringLiteral("01:00:00");
    QTest::newRow("24 hours wrap") << 24 * 3600 * 1000 << QStringLiteral("00:00:00");
    QTest::newRow("a second before 24 hours") << 86399999 << QStringLiteral("23:59:59");
    QTest::newRow("largest") << std::numeric_limits<int>::max() << QStringLiteral("20:31:23");
    QTest::newRow("negative") << -1000 << QStringLiteral("23:59:59");
}

void TestRowTexts::durationIsWholeSecondsOfATimeOfDay()
{
    QFETCH(int, ms);
    QTEST(results::durationText(ms), "text");
}

void TestRowTexts::durationIgnoresTheTimeZone()
{
    qputenv("TZ", "Asia/Kathmandu");
    QCOMPARE(results::durationText(3723456), QStringLiteral("01:02:03"));
    qunsetenv("TZ");
}

void TestRowTexts::cellsOfARow()
{
    const AudioInfoMap info{{QStringLiteral("/m/a.mp3"), {185000, 44100, 2}}};
    const QStringList reference{QStringLiteral("/m/a.mp3"), QString(), QStringLiteral("00:03:05"),
                                QStringLiteral("44100"), QStringLiteral("2")};
    QStringList duplicate = reference;
    duplicate[1] = QStringLiteral("87%");
    QCOMPARE(results::referenceCells(QStringLiteral("/m/a.mp3"), info), reference);
    QCOMPARE(results::duplicateCells(QStringLiteral("/m/a.mp3"), 87, info), duplicate);
    QCOMPARE(results::duplicateCells(QStringLiteral("/m/a.mp3"), 100, info).at(1),
             QStringLiteral("100%"));
}

void TestRowTexts::unknownPathHasZeros()
{
    const AudioInfoMap info;
    const QStringList expected{QStringLiteral("x"), QString(), QStringLiteral("00:00:00"),
                               QStringLiteral("0"), QStringLiteral("0")};
    QCOMPARE(results::referenceCells(QStringLiteral("x"), info), expected);
}

void TestRowTexts::countTextHasItsSingular_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << 0 << QStringLiteral("No duplicate audio files found.");
    QTest::newRow("1") << 1 << QStringLiteral("1 duplicate audio file found.");
    QTest::newRow("2") << 2 << QStringLiteral("2 duplicate audio files found.");
    QTest::newRow("12") << 12 << QStringLiteral("12 duplicate audio files found.");
}

void TestRowTexts::countTextHasItsSingular()
{
    QFETCH(int, count);
    QTEST(results::duplicateCountText(count), "text");
}

QTEST_GUILESS_MAIN(TestRowTexts)
#include "tst_rowtexts.moc"
