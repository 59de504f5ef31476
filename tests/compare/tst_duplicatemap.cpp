#include "compare/audioinfomap.h"
#include "compare/duplicatemap.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

FingerprintRecord record(const char* path, QList<quint32> words, int durationMs,
                         int sampleRateHz = 44100, int channels = 2)
{
    return {QString::fromLatin1(path), std::move(words), durationMs, sampleRateHz, channels};
}

} // namespace

class TestDuplicateMap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thresholdKeepsItsOwnValueAndDropsOneLess();
    void entriesKeepTheOrderInWhichTheyArrive();
    void keyExistsOnlyWithAnEntry();
    void thresholdOfZeroEntersEveryPair();
    void keysAreOrderedByUtf16CodeUnit();
    void audioInfoOfALaterRecordReplacesAnEarlierOne();
};

void TestDuplicateMap::thresholdKeepsItsOwnValueAndDropsOneLess()
{
    DuplicateMap map;
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("b"), 70, 70);
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("c"), 69, 70);
    QCOMPARE(map, (DuplicateMap{{QStringLiteral("a"), {{QStringLiteral("b"), 70}}}}));
}

void TestDuplicateMap::entriesKeepTheOrderInWhichTheyArrive()
{
    DuplicateMap map;
    for (const char* path : {"z", "b", "m", "b"}) {
        compare::addIfDuplicate(map, QStringLiteral("a"), QString::fromLatin1(path), 80, 70);
    }
    const QList<std::tuple<QString, int>> expected{{QStringLiteral("z"), 80},
                                                   {QStringLiteral("b"), 80},
                                                   {QStringLiteral("m"), 80},
                                                   {QStringLiteral("b"), 80}};
    QCOMPARE(map.value(QStringLiteral("a")), expected);
}

void TestDuplicateMap::keyExistsOnlyWithAnEntry()
{
    DuplicateMap map;
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("b"), 0, 1);
    QVERIFY(map.isEmpty());
}

void TestDuplicateMap::thresholdOfZeroEntersEveryPair()
{
    DuplicateMap map;
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("b"), 0, 0);
    compare::addIfDuplicate(map, QStringLiteral("a"), QStringLiteral("c"), 0, -5);
    QCOMPARE(map.value(QStringLiteral("a")).size(), 2);
}

void TestDuplicateMap::keysAreOrderedByUtf16CodeUnit()
{
    DuplicateMap map;
    // U+FF5E sorts behind the surrogates of U+1F600 by code unit, before it by code point.
    const QStringList paths{QStringLiteral("b"), QStringLiteral("B"), u"\uFF5E"_s, u"\U0001F600"_s,
                            QStringLiteral("a")};
    for (const QString& path : paths) {
        compare::addIfDuplicate(map, path, QStringLiteral("x"), 100, 70);
    }
    const QStringList expected{QStringLiteral("B"), QStringLiteral("a"), QStringLiteral("b"),
                               u"\U0001F600"_s, u"\uFF5E"_s};
    QCOMPARE(map.keys(), expected);
}

void TestDuplicateMap::audioInfoOfALaterRecordReplacesAnEarlierOne()
{
    const AudioInfoMap map = compare::buildAudioInfoMap(
        {record("a", {}, 1, 8000, 1), record("b", {}, 2, 16000, 2), record("a", {}, 3, 22050, 6)},
        {record("b", {}, 4, 48000, 8), record("c", {}, -1, 11025, 1)});
    const AudioInfoMap expected{{QStringLiteral("a"), {3, 22050, 6}},
                                {QStringLiteral("b"), {4, 48000, 8}},
                                {QStringLiteral("c"), {-1, 11025, 1}}};
    QCOMPARE(map, expected);
}

QTEST_GUILESS_MAIN(TestDuplicateMap)
#include "tst_duplicatemap.moc"
