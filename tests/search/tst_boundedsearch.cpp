#include "compare/recordsimilarity.h"
#include "compare/similarity.h"
#include "search/duplicatesearch.h"
#include "search/fingerprintcollection.h"
#include "search/pairbound.h"
#include "support/fingerprintwords.h"
#include "support/kernelrows.h"
#include "support/media.h"
#include "support/recordmix.h"

#include <QTest>

#include <limits>
#include <random>
#include <vector>

using support::walkingWords;
using support::Words;

namespace {

using Records = QList<FingerprintRecord>;

/** Enough of one duration for the bound to be asked. */
constexpr int kRecords = 220;
constexpr int kDurationMs = 180000;

Records recordsOf(const QList<Words>& fingerprints)
{
    Records records;
    for (const Words& words : fingerprints) {
        records.append({QStringLiteral("/%1.mp3").arg(records.size(), 6, 10, QLatin1Char('0')),
                        words, kDurationMs, 44100, 2});
    }
    return records;
}

/** Damaged and shifted copies of a few pieces, so that similarities of all heights occur. */
Records relatives(unsigned seed, const auto& piece)
{
    std::mt19937 random(seed);
    QList<Words> pieces;
    for (int i = 0; i < 12; ++i) {
        pieces.append(piece(random));
    }
    QList<Words> fingerprints;
    for (int i = 0; i < kRecords; ++i) {
        const Words& original = pieces.at(static_cast<qsizetype>(random() % 12));
        fingerprints.append(support::withErrors(random,
                                                original.mid(static_cast<qsizetype>(random() % 45)),
                                                static_cast<unsigned>(random() % 75)));
    }
    return recordsOf(fingerprints);
}

Records hostile(unsigned seed)
{
    constexpr std::array kDurations = {-1,
                                       0,
                                       5000,
                                       5001,
                                       10000,
                                       10001,
                                       std::numeric_limits<int>::max(),
                                       std::numeric_limits<int>::min()};
    std::mt19937 random(seed);
    Records records = recordsOf(QList<Words>(kRecords));
    for (FingerprintRecord& record : records) {
        Words& words = std::get<1>(record);
        switch (random() % 5) {
        case 0:
            words = walkingWords(random, static_cast<qsizetype>(random() % 131));
            break;
        case 1: // the bound is exact between these, and their similarities lie on thresholds
            words.fill(0xFFU >> (random() % 9), 1 + static_cast<qsizetype>(random() % 2000));
            break;
        case 2: // one column constant
            words = walkingWords(random, static_cast<qsizetype>(random() % 400));
            for (quint32& word : words) {
                word |= 1U << 7;
            }
            break;
        case 3: // much longer than its partners
            words = walkingWords(random, 3000);
            break;
        default:
            break; // empty
        }
        if (random() % 3 == 0) {
            std::get<2>(record) = kDurations[random() % kDurations.size()];
        }
    }
    return records;
}

/** The rounds that were asked for; 0 for the few of the suite. */
int rounds()
{
    return qEnvironmentVariableIntValue("QUORVEL_BOUND_ROUNDS");
}

/** Every one in rounds that were asked for, else some: the arithmetic is the same at all. */
QList<int> thresholds()
{
#ifdef __SANITIZE_ADDRESS__
    constexpr int kFewStep = 13;
#else
    constexpr int kFewStep = 4;
#endif
    const int step = rounds() > 0 ? 1 : kFewStep;
    QList<int> thresholds = {-5, 0, 1, 50, 70, 100};
    for (int threshold = 49; threshold <= 101; threshold += step) {
        thresholds.append(threshold);
    }
    return thresholds;
}

/** The similarities of all pairs by the plain measure, and the map that they give. */
class PlainComparison
{
public:
    explicit PlainComparison(const Records& records)
        : m_records(records)
    {
        for (qsizetype i = 0; i < records.size(); ++i) {
            for (qsizetype j = i + 1; j < records.size(); ++j) {
                m_similarities.push_back(compare::recordSimilarity(records.at(i), records.at(j)));
            }
        }
    }

    DuplicateMap within(int threshold) const
    {
        DuplicateMap map;
        auto similarity = m_similarities.cbegin();
        for (qsizetype i = 0; i < m_records.size(); ++i) {
            for (qsizetype j = i + 1; j < m_records.size(); ++j) {
                compare::addIfDuplicate(map, std::get<0>(m_records.at(i)),
                                        std::get<0>(m_records.at(j)), *similarity++, threshold);
            }
        }
        return map;
    }

private:
    const Records& m_records;
    std::vector<int> m_similarities;
};

} // namespace

/** What is found with the bound is what is found without it. */
class TestBoundedSearch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup()
    {
        compare::setSimilarityKernelForTests(nullptr);
    }

    void boundChangesNoResult_data();
    void boundChangesNoResult();
    void everyKernelFindsTheSame_data();
    void everyKernelFindsTheSame();
    void twoListsGiveTheSame();
    void duplicateWithTheMostErrorsIsFound();
    void recordTooLongForTheMeasureIsNotBounded();
    void strangersAreRuledOut();
    void smallSearchesDoWithoutTheBound();
    void boundThatRulesLittleOutIsGivenUp();

private:
    Records recordsNamed(const QString& name, unsigned seed) const;

    recordmix::Material m_material;
};

void TestBoundedSearch::initTestCase()
{
    const testmedia::MediaFolder folder;
    QStringList files;
    for (unsigned seed = 1; seed <= 3; ++seed) {
        testmedia::Tune tune;
        tune.seed = seed;
        tune.seconds = 25;
        for (const QString& ending : {QStringLiteral("wav"), QStringLiteral("mp3")}) {
            files.append(folder.makeTune(QStringLiteral("%1.%2").arg(seed).arg(ending), tune));
        }
    }
    m_material =
        recordmix::materialOf(search::fingerprintFiles(files, {2, nullptr, {}, {}}).records);
    QCOMPARE(m_material.recordings.size(), files.size());
    QVERIFY(!m_material.errors.isEmpty());
}

Records TestBoundedSearch::recordsNamed(const QString& name, unsigned seed) const
{
    if (name == u"hostile") {
        return hostile(seed);
    }
    if (name == u"noise") {
        return relatives(seed, [](std::mt19937& random) {
            return support::randomWords(random, 60 + static_cast<qsizetype>(random() % 300));
        });
    }
    if (name == u"walking") {
        return relatives(seed, [](std::mt19937& random) {
            return walkingWords(random, 60 + static_cast<qsizetype>(random() % 300));
        });
    }
    if (name == u"effects") {
        return recordmix::makeRecords(kRecords, recordmix::Mix::Effects, m_material, seed);
    }
    const Records originals = recordmix::makeRecords(12, recordmix::Mix::Songs, m_material, seed);
    return relatives(seed, [&originals](std::mt19937& random) {
        return std::get<1>(originals.at(static_cast<qsizetype>(random() % 12))).mid(0, 500);
    });
}

void TestBoundedSearch::boundChangesNoResult_data()
{
    QTest::addColumn<int>("threadCount");
    for (const char* records : {"songs", "effects", "walking", "noise", "hostile"}) {
        QTest::addRow("%s", records) << (records[0] == 'w' ? 1 : 8);
    }
}

void TestBoundedSearch::boundChangesNoResult()
{
    QFETCH(const int, threadCount);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    for (unsigned seed = 1; seed <= static_cast<unsigned>(qMax(rounds(), 1)); ++seed) {
        const Records records = recordsNamed(name, seed);
        const PlainComparison plain(records);
        for (const int threshold : thresholds()) {
            const search::ComparisonOptions options{threshold, threadCount, {}, {}};
            const DuplicateMap found = search::compareWithin(records, options).duplicates;
            QVERIFY2(found == plain.within(threshold),
                     qPrintable(QStringLiteral("seed %1, %2 percent").arg(seed).arg(threshold)));
        }
    }
}

void TestBoundedSearch::everyKernelFindsTheSame_data()
{
    support::addKernelRows();
}

void TestBoundedSearch::everyKernelFindsTheSame()
{
    QFETCH(const bool, supported);
    if (!supported) {
        QSKIP("This processor lacks it.");
    }
    const Records records = recordsNamed(QStringLiteral("songs"), 7);
    const PlainComparison plain(records);
    compare::setSimilarityKernelForTests(&support::kernelOfRow());
    for (const int threshold : {55, 70, 88}) {
        const DuplicateMap expected = plain.within(threshold);
        QVERIFY(!expected.isEmpty());
        QCOMPARE(search::compareWithin(records, {threshold, 2, {}, {}}).duplicates, expected);
    }
}

void TestBoundedSearch::twoListsGiveTheSame()
{
    const Records first = recordsNamed(QStringLiteral("songs"), 3);
    const Records second = recordsNamed(QStringLiteral("songs"), 4) + first.mid(0, 20);
    for (const int threshold : {75, 90}) {
        search::ComparisonOptions options{threshold, 2, {}, {}};
        const search::Comparison bounded = search::compareBetween(first, second, options);
        QVERIFY(bounded.scannedPairs < bounded.comparedPairs);
        options.boundFirst = false;
        const search::Comparison scanned = search::compareBetween(first, second, options);
        QCOMPARE(bounded.duplicates, scanned.duplicates);
        QCOMPARE(bounded.comparedPairs, scanned.comparedPairs);
        QCOMPARE(scanned.scannedPairs, scanned.comparedPairs);
    }
}

// Errors in the middle alone are within the blocks at every shift, and against silence their number
// is the bound itself.
void TestBoundedSearch::duplicateWithTheMostErrorsIsFound()
{
    constexpr int kThreshold = 70;
    constexpr int kWords = 600;
    const int errors = compare::largestErrorCount(kWords, kThreshold);
    const auto damaged = [](int errorCount) {
        Words words(kWords);
        for (int i = 0; i < errorCount; ++i) {
            words[kWords / 3 + i / 32] |= 1U << (i % 32);
        }
        return words;
    };
    std::mt19937 random(6);
    QList<Words> fingerprints = {damaged(0), damaged(errors), damaged(errors + 1)};
    while (fingerprints.size() < kRecords) {
        fingerprints.append(walkingWords(random, kWords));
    }
    const Records records = recordsOf(fingerprints);
    QCOMPARE(compare::recordSimilarity(records.at(0), records.at(1)), kThreshold);
    QVERIFY(compare::recordSimilarity(records.at(0), records.at(2)) < kThreshold);

    const search::Comparison comparison = search::compareWithin(records, {kThreshold, 1, {}, {}});
    QVERIFY(comparison.scannedPairs < comparison.comparedPairs / 2);
    QCOMPARE(comparison.duplicates, PlainComparison(records).within(kThreshold));
}

void TestBoundedSearch::recordTooLongForTheMeasureIsNotBounded()
{
    constexpr std::uint32_t kUnbounded = std::numeric_limits<std::uint32_t>::max();
    constexpr int kMostWords = compare::kMostBoundedWords;
    QCOMPARE(search::allowedErrors(kMostWords, 70),
             static_cast<std::uint32_t>(compare::largestErrorCount(kMostWords, 70)));
    QCOMPARE(search::allowedErrors(qsizetype{kMostWords} + 1, 70), kUnbounded);
    QCOMPARE(search::allowedErrors(0, 70), kUnbounded);
}

void TestBoundedSearch::strangersAreRuledOut()
{
    Records records = recordmix::makeRecords(kRecords, recordmix::Mix::Songs, m_material, 1);
    for (FingerprintRecord& record : records) {
        std::get<2>(record) = kDurationMs;
    }
    const search::Comparison comparison = search::compareWithin(records, {70, 1, {}, {}});
    QCOMPARE(comparison.comparedPairs, qint64{kRecords} * (kRecords - 1) / 2);
    QVERIFY2(comparison.scannedPairs < comparison.comparedPairs / 10,
             qPrintable(QString::number(comparison.scannedPairs)));
}

void TestBoundedSearch::smallSearchesDoWithoutTheBound()
{
    const Records records = recordsNamed(QStringLiteral("walking"), 1).mid(0, 30);
    const search::Comparison comparison = search::compareWithin(records, {70, 1, {}, {}});
    QCOMPARE(comparison.scannedPairs, comparison.comparedPairs);
}

void TestBoundedSearch::boundThatRulesLittleOutIsGivenUp()
{
    std::mt19937 random(5);
    QList<Words> fingerprints;
    for (int i = 0; i < 400; ++i) {
        fingerprints.append(support::randomWords(random, 300));
    }
    // Asked for 512 pairs of a tile, then for no more of it, and of fewer and fewer tiles.
    const search::Comparison comparison =
        search::compareWithin(recordsOf(fingerprints), {50, 1, {}, {}});
    QVERIFY(comparison.scannedPairs > comparison.comparedPairs - 17 * 512);
}

QTEST_GUILESS_MAIN(TestBoundedSearch)
#include "tst_boundedsearch.moc"
