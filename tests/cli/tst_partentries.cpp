#include "cli/partentries.h"
#include "parts/partextent.h"

#include <QTest>

using namespace Qt::StringLiterals;

using cli::partEntries;
using cli::PartEntry;
using cli::placeText;
using cli::relationText;
using parts::PartRelation;

namespace {

/** A file of \a words words, of \a durationMs. */
FingerprintRecord file(const QString& path, int words, int durationMs)
{
    return {path, QList<quint32>(words, 0U), durationMs, 44100, 2};
}

} // namespace

class TestPartEntries : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entryNamesFilesPlacesAndLengths();
    void unknownLengthIsThatOfTheFingerprint();
    void filesAreOneRecordingByTheirOnlyPart();
    void placesAreHoursMinutesSecondsAndTenths_data();
    void placesAreHoursMinutesSecondsAndTenths();
    void relationIsInWords_data();
    void relationIsInWords();
};

void TestPartEntries::entryNamesFilesPlacesAndLengths()
{
    const QList<FingerprintRecord> records = {file(u"/other"_s, 5, 0), file(u"/a"_s, 1000, 126600),
                                              file(u"/b"_s, 3000, 374200)};
    const QList<PartEntry> entries = partEntries({{1, 2, {0, 500, 1000, 3200}}}, records);
    QCOMPARE(entries.size(), 1);
    const PartEntry& entry = entries.constFirst();
    QCOMPARE(entry.first, u"/a"_s);
    QCOMPARE(entry.second, u"/b"_s);
    QCOMPARE(entry.inFirst.beginSeconds, 0.0);
    QCOMPARE(entry.inSecond.beginSeconds, 500 * parts::kSecondsPerWord);
    QCOMPARE(entry.inFirst.partSeconds, parts::secondsOfWords(1000));
    QCOMPARE(entry.inSecond.partSeconds, parts::secondsOfWords(1000));
    QCOMPARE(entry.inFirst.fileSeconds, 126.6);
    QCOMPARE(entry.inSecond.fileSeconds, 374.2);
    QCOMPARE(entry.similarity, 80);
    QCOMPARE(entry.relation, PartRelation::FirstInSecond);
}

void TestPartEntries::unknownLengthIsThatOfTheFingerprint()
{
    const QList<FingerprintRecord> records = {file(u"/a"_s, 300, -1), file(u"/b"_s, 300, 40000)};
    const PartEntry entry = partEntries({{0, 1, {0, 0, 300, 0}}}, records).constFirst();
    QCOMPARE(entry.inFirst.fileSeconds, parts::secondsOfWords(300));
    QCOMPARE(entry.inSecond.fileSeconds, 40.0);
}

void TestPartEntries::filesAreOneRecordingByTheirOnlyPart()
{
    const QList<FingerprintRecord> records = {file(u"/a"_s, 1000, 126500),
                                              file(u"/b"_s, 1100, 138900)};
    const auto relations = [&](const QList<parts::SharedPart>& parts) {
        QList<PartRelation> found;
        for (const PartEntry& entry : partEntries(parts, records)) {
            found += entry.relation;
        }
        return found;
    };
    const parts::SharedPart most = {0, 1, {0, 0, 700, 0}};
    const parts::SharedPart rest = {0, 1, {750, 850, 250, 0}};
    QCOMPARE(relations({most}), QList{PartRelation::SameRecording});
    QCOMPARE(relations({most, rest}), (QList{PartRelation::Partial, PartRelation::Partial}));
}

void TestPartEntries::placesAreHoursMinutesSecondsAndTenths_data()
{
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("begin") << 0.0 << u"00:00:00.0"_s;
    QTest::newRow("rounded down") << 59.94 << u"00:00:59.9"_s;
    QTest::newRow("rounded up") << 59.96 << u"00:01:00.0"_s;
    QTest::newRow("all of it") << 3600.0 * 12 + 60 * 34 + 56.7 << u"12:34:56.7"_s;
    QTest::newRow("days") << 3600.0 * 123 << u"123:00:00.0"_s;
}

void TestPartEntries::placesAreHoursMinutesSecondsAndTenths()
{
    QFETCH(const double, seconds);
    QFETCH(const QString, text);
    QCOMPARE(placeText(seconds), text);
}

void TestPartEntries::relationIsInWords_data()
{
    QTest::addColumn<PartRelation>("relation");
    QTest::addColumn<double>("firstBegin");
    QTest::addColumn<double>("secondBegin");
    QTest::addColumn<double>("firstEnd");
    QTest::addColumn<double>("secondEnd");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, PartRelation relation, double firstBegin,
                        double secondBegin, double firstEnd, double secondEnd,
                        const QString& text) {
        QTest::newRow(name) << relation << firstBegin << secondBegin << firstEnd << secondEnd
                            << text;
    };
    row("partial", PartRelation::Partial, 9, 9, 9, 9, {});
    row("first", PartRelation::FirstInSecond, 0, 9, 0, 9,
        u"the first is contained in the second"_s);
    row("second", PartRelation::SecondInFirst, 9, 0, 9, 0,
        u"the second is contained in the first"_s);
    const PartRelation same = PartRelation::SameRecording;
    row("no difference", same, 0.9, 0.2, 0, 0.9, u"the same recording"_s);
    row("start of the first", same, 12.4, 0, 0, 0,
        u"the same recording, the first has 12.4 s more at the start"_s);
    row("start of the second", same, 0.4, 12.4, 0, 0,
        u"the same recording, the second has 12.0 s more at the start"_s);
    row("both starts", same, 60, 30, 0, 0,
        u"the same recording, 60.0 s and 30.0 s of their own at the start"_s);
    row("start and end", same, 3, 0, 0, 5,
        u"the same recording, the first has 3.0 s more at the start, the second has 5.0 s more at "
        "the end"_s);
}

void TestPartEntries::relationIsInWords()
{
    QFETCH(const PartRelation, relation);
    QFETCH(const double, firstBegin);
    QFETCH(const double, secondBegin);
    QFETCH(const double, firstEnd);
    QFETCH(const double, secondEnd);
    QFETCH(const QString, text);
    const PartEntry entry{u"/a"_s,
                          u"/b"_s,
                          {firstBegin + 100.0 + firstEnd, firstBegin, 100.0},
                          {secondBegin + 100.0 + secondEnd, secondBegin, 100.0},
                          90,
                          relation};
    QCOMPARE(relationText(entry), text);
}

QTEST_GUILESS_MAIN(TestPartEntries)
#include "tst_partentries.moc"
