#include "compare/durationgate.h"
#include "search/duplicatesearch.h"
#include "search/durationrange.h"
#include "search/fingerprintstore.h"
#include "search/trustedstore.h"
#include "support/recordmix.h"

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <optional>

using search::DurationRange;
using namespace Qt::StringLiterals;

class TestDurationRange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bothEndsAreInside_data();
    void bothEndsAreInside();
    void rangesThatOverlapByTheGateLoseNoPair_data();
    void rangesThatOverlapByTheGateLoseNoPair();
    void trustedStoreGivesWholeFingerprintsInsideOnly();
};

namespace {

FingerprintRecord recordOf(int durationMs, const QList<quint32>& words)
{
    return {u"/music/a.mp3"_s, words, durationMs, 44100, 2};
}

/** The pairs of \a records in \a range, with their similarities. */
QSet<QString> pairsIn(QList<FingerprintRecord> records, const DurationRange& range)
{
    records.removeIf([&range](const FingerprintRecord& record) {
        return range.fitOf(record) != DurationRange::Inside;
    });
    const DuplicateMap found = search::compareWithin(records, {70, 1, {}, {}}).duplicates;
    QSet<QString> pairs;
    for (auto entry = found.cbegin(); entry != found.cend(); ++entry) {
        for (const auto& [path, similarity] : entry.value()) {
            const auto [first, second] = std::minmax(entry.key(), path);
            pairs.insert(u"%1 %2 %3"_s.arg(first, second).arg(similarity));
        }
    }
    return pairs;
}

/** Pairs of copies whose lengths differ by up to five seconds and a little, from 3:20 to 5:00. */
QList<FingerprintRecord> copiesOfEveryLength()
{
    constexpr int kDifferencesMs[] = {0,
                                      1,
                                      999,
                                      1000,
                                      4999,
                                      compare::kLargestDurationDifferenceMs,
                                      compare::kLargestDurationDifferenceMs + 1};
    const QList<FingerprintRecord> songs = recordmix::makeRecords(99, recordmix::Mix::Noise, {}, 1);
    QList<FingerprintRecord> records;
    for (qsizetype i = 0; i < songs.size(); ++i) {
        // A step that no unit divides, so that pairs begin anywhere between the ends of ranges.
        const int durationMs = 200000 + static_cast<int>(i) * 1009;
        FingerprintRecord record = songs.at(i);
        std::get<2>(record) = durationMs;
        records.append(record);
        std::get<0>(record) += u".copy"_s;
        std::get<2>(record) = durationMs + kDifferencesMs[i % std::ssize(kDifferencesMs)];
        records.append(record);
    }
    // Of no known length.
    for (qsizetype i : {0, 2}) {
        FingerprintRecord record = records.at(i);
        std::get<0>(record) += u".unknown"_s;
        std::get<2>(record) = -1;
        records.append(record);
    }
    return records;
}

} // namespace

void TestDurationRange::bothEndsAreInside_data()
{
    QTest::addColumn<std::optional<int>>("least");
    QTest::addColumn<std::optional<int>>("most");
    QTest::addColumn<int>("durationMs");
    QTest::addColumn<int>("fit");
    const std::optional<int> any;
    QTest::newRow("any length") << any << any << 5000 << int(DurationRange::Inside);
    QTest::newRow("least") << std::optional(5) << any << 5000 << int(DurationRange::Inside);
    QTest::newRow("below it") << std::optional(5) << any << 4999 << int(DurationRange::TooShort);
    QTest::newRow("most") << any << std::optional(5) << 5000 << int(DurationRange::Inside);
    QTest::newRow("above it") << any << std::optional(5) << 5001 << int(DurationRange::TooLong);
    QTest::newRow("one length") << std::optional(5) << std::optional(5) << 5000
                                << int(DurationRange::Inside);
    QTest::newRow("length unknown")
        << std::optional(5) << std::optional(6) << -1 << int(DurationRange::Inside);
    // More than 31 bits of milliseconds.
    QTest::newRow("largest") << std::optional(2000000) << std::optional(2000000) << 2000000000
                             << int(DurationRange::Inside);
}

void TestDurationRange::bothEndsAreInside()
{
    QFETCH(const std::optional<int>, least);
    QFETCH(const std::optional<int>, most);
    QFETCH(const int, durationMs);
    QFETCH(const int, fit);
    const DurationRange range{least, most};
    QCOMPARE(int(range.fitOf(recordOf(durationMs, {1, 2, 3}))), fit);
    // One that failed has no length.
    QCOMPARE(range.fitOf(recordOf(durationMs, {})), DurationRange::Inside);
}

void TestDurationRange::rangesThatOverlapByTheGateLoseNoPair_data()
{
    QTest::addColumn<QList<int>>("ends");
    QTest::newRow("two") << QList<int>{250};
    QTest::newRow("three") << QList<int>{230, 270};
    QTest::newRow("each as long as the overlap")
        << QList<int>{200, 205, 210, 215, 220, 225, 230, 235, 240, 245, 250,
                      255, 260, 265, 270, 275, 280, 285, 290, 295, 300};
}

void TestDurationRange::rangesThatOverlapByTheGateLoseNoPair()
{
    QFETCH(const QList<int>, ends);
    constexpr int kOverlapSeconds = compare::kLargestDurationDifferenceMs / 1000;
    const QList<FingerprintRecord> records = copiesOfEveryLength();
    const QSet<QString> all = pairsIn(records, {});
    // Six of seven copies are within the gate, and both of no known length resemble nothing of it.
    QVERIFY2(all.size() >= 84, qPrintable(QString::number(all.size())));
    QSet<QString> found;
    std::optional<int> least;
    for (const int end : ends) {
        found += pairsIn(records, {least, end});
        least = end - kOverlapSeconds;
    }
    found += pairsIn(records, {least, {}});
    QCOMPARE(found, all);
}

void TestDurationRange::trustedStoreGivesWholeFingerprintsInsideOnly()
{
    const QTemporaryDir folder;
    const QString storeFile = folder.filePath(u"music.db"_s);
    const QString music = folder.filePath(u"music"_s);
    const QList<int> durationsMs{4999, 5000, 6000, 6001, -1};
    QStringList paths;
    QList<search::StoredFile> files;
    for (const int durationMs : durationsMs) {
        paths.append(u"%1/%2.mp3"_s.arg(music).arg(paths.size()));
        FingerprintRecord record = recordOf(durationMs, {1, 2, 3});
        std::get<0>(record) = paths.constLast();
        files.append({paths.constLast(), {1, 2, 3}, record, {}});
    }
    search::FingerprintStore(storeFile).save(files);
    const search::Collection collection =
        search::TrustedStore(storeFile).load({music}, paths, {}, {}, {5, 6});
    QList<qsizetype> wordCounts;
    for (const FingerprintRecord& record : collection.records) {
        wordCounts.append(std::get<1>(record).size());
    }
    // One word is left of the others, so that they do not look like files that failed.
    QCOMPARE(wordCounts, QList<qsizetype>({1, 3, 3, 1, 3}));
    QCOMPARE(collection.failures.size(), 0);
    for (qsizetype i = 0; i < durationsMs.size(); ++i) {
        QCOMPARE(std::get<2>(collection.records.at(i)), durationsMs.at(i));
    }
}

QTEST_GUILESS_MAIN(TestDurationRange)
#include "tst_durationrange.moc"
