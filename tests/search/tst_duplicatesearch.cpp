#include "app/mainwindow.h"
#include "compare/durationgate.h"
#include "compare/errorsoutside.h"
#include "compare/kernelchoice.h"
#include "search/duplicatesearch.h"
#include "settings/settingsstore.h"
#include "support/fingerprintwords.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <random>
#include <stop_token>

namespace {

using Records = QList<FingerprintRecord>;

constexpr int kDurations[] = {-1,
                              0,
                              1,
                              5000,
                              5001,
                              180000,
                              182000,
                              184999,
                              185001,
                              std::numeric_limits<int>::max(),
                              std::numeric_limits<int>::max() - 4999,
                              std::numeric_limits<int>::min(),
                              std::numeric_limits<int>::min() + 4998};

/** A shorter, shifted and, mostly, damaged copy of \a words. */
support::Words variantOf(std::mt19937& random, const support::Words& words)
{
    const unsigned damage = random() % 3 == 0 ? 0U : static_cast<unsigned>(random() % 60);
    return support::withErrors(random, words.mid(static_cast<qsizetype>(random() % 45)), damage);
}

/** Copies of five pieces at all levels of likeness, strangers, and files that failed. */
Records seededRecords(unsigned seed, int count)
{
    std::mt19937 random(seed);
    QList<support::Words> pieces;
    for (int i = 0; i < 5; ++i) {
        pieces.append(support::randomWords(random, 60 + static_cast<qsizetype>(random() % 200)));
    }
    Records records;
    for (int i = 0; i < count; ++i) {
        support::Words words;
        if (random() % 8 != 0) {
            words = random() % 3 == 0
                        ? support::randomWords(random, static_cast<qsizetype>(random() % 150))
                        : variantOf(random, pieces.at(static_cast<int>(random() % 5)));
        }
        // The same path now and then, as no search of folders would give.
        records.append({QStringLiteral("/music/%1.ogg").arg(random() % 1000), words,
                        kDurations[random() % std::size(kDurations)], 44100, 2});
    }
    return records;
}

/** What the window's stage functions make of every pair, one after the other. */
DuplicateMap mapOfTheWindow(const Records& first, const Records& second, bool within)
{
    MainWindow::fingerprintsFirst = first;
    MainWindow::fingerprintsSecond = second;
    DuplicateMap map;
    for (int i = 0; i < first.size(); ++i) {
        for (int j = within ? i + 1 : 0; j < second.size(); ++j) {
            MainWindow::findDuplicateFiles(map, MainWindow::calcSingleSimilarity({i, j}));
        }
    }
    MainWindow::fingerprintsFirst.clear();
    MainWindow::fingerprintsSecond.clear();
    return map;
}

/** A kernel that asks for a stop in the midst of a comparison. */
constexpr int kStoppedAt = 1000;
std::stop_source stopOfTheKernel;
std::atomic<int> kernelCalls = 0;
constexpr compare::SimilarityKernel kStoppingKernel = {
    "stopping",
    [] { return true; },
    [](const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
       std::size_t secondCount, std::uint32_t* errors) {
        if (++kernelCalls == kStoppedAt) {
            stopOfTheKernel.request_stop();
        }
        compare::kTableKernel.addErrors(first, firstCount, second, secondCount, errors);
    },
    &compare::errorsOutsidePortable,
};

/** A kernel whose calls of these numbers last until progress is reported in them. */
std::array<int, 2> heldCalls{};
std::atomic<int> reports = 0;
constexpr compare::SimilarityKernel kHoldingKernel = {
    "holding",
    [] { return true; },
    [](const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
       std::size_t secondCount, std::uint32_t* errors) {
        const int call = ++kernelCalls;
        if (std::find(heldCalls.begin(), heldCalls.end(), call) != heldCalls.end()) {
            // The first report may have been under way already.
            const int enough = reports + 2;
            for (int now = reports; now < enough; now = reports) {
                reports.wait(now);
            }
        }
        compare::kTableKernel.addErrors(first, firstCount, second, secondCount, errors);
    },
    &compare::errorsOutsidePortable,
};

/** The number of pairs of fingerprints that durations do not rule out. */
qint64 comparablePairs(const Records& records)
{
    qint64 count = 0;
    for (int i = 0; i < records.size(); ++i) {
        for (int j = i + 1; j < records.size(); ++j) {
            const bool bothHaveWords =
                !std::get<1>(records.at(i)).isEmpty() && !std::get<1>(records.at(j)).isEmpty();
            count += bothHaveWords && compare::durationsComparable(std::get<2>(records.at(i)),
                                                                   std::get<2>(records.at(j)))
                         ? 1
                         : 0;
        }
    }
    return count;
}

} // namespace

class TestDuplicateSearch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void mapIsThatOfTheWindow_data();
    void mapIsThatOfTheWindow();
    void onlyComparablePairsAreCompared();
    void progressRisesToNoMoreThanAll();
    void endIsReportedWithoutARecord();
    void stopEndsWithoutAResult();
    void emptyListsGiveNothing();

private:
    QTemporaryDir settingsFolder;
};

void TestDuplicateSearch::initTestCase()
{
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsFolder.path());
}

void TestDuplicateSearch::mapIsThatOfTheWindow_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<int>("threadCount");
    for (const int threshold : {-5, 0, 1, 70, 99, 100, 101}) {
        for (const int threadCount : {1, 8}) {
            QTest::addRow("%d percent, %d threads", threshold, threadCount)
                << threshold << threadCount;
        }
    }
}

void TestDuplicateSearch::mapIsThatOfTheWindow()
{
    QFETCH(const int, threshold);
    QFETCH(const int, threadCount);
    settings::write({threshold, true});
    const search::ComparisonOptions options{threshold, threadCount, {}, {}};
    for (const unsigned seed : {1U, 2U}) {
        const Records first = seededRecords(seed, 70);
        const Records second = seededRecords(seed + 100, 40) + first.mid(0, 15);
        const DuplicateMap between = search::compareBetween(first, second, options).duplicates;
        QCOMPARE(between, mapOfTheWindow(first, second, false));
        const DuplicateMap within = search::compareWithin(first, options).duplicates;
        QCOMPARE(within, mapOfTheWindow(first, first, true));
        QCOMPARE(between.isEmpty(), threshold > 100);
        QCOMPARE(within.isEmpty(), threshold > 100);
    }
}

void TestDuplicateSearch::onlyComparablePairsAreCompared()
{
    const Records records = seededRecords(7, 300);
    const qint64 expected = comparablePairs(records);
    QVERIFY(expected > 0 && expected < 300 * 299 / 2);
    QCOMPARE(search::compareWithin(records, {70, 2, {}, {}}).comparedPairs, expected);
}

void TestDuplicateSearch::progressRisesToNoMoreThanAll()
{
    // Two blocks of records are taken, of which the second is not full. The first and the last
    // comparison, in either block, go on once progress was reported in them.
    constexpr qsizetype kCount = 30;
    heldCalls = {1, kCount * (kCount - 1)};
    kernelCalls = 0;
    Records records;
    for (quint32 i = 0; i < kCount; ++i) {
        records.append({QString::number(i), {i}, 1000, 44100, 2});
    }
    QList<qsizetype> reported;
    bool isOfAll = true;
    const auto progress = [&](qsizetype done, qsizetype all) {
        isOfAll = isOfAll && all == kCount;
        reported.append(done);
        ++reports;
        reports.notify_all();
    };
    compare::setSimilarityKernelForTests(&kHoldingKernel);
    search::compareWithin(records, {0, 1, progress, {}});
    compare::setSimilarityKernelForTests(nullptr);
    QCOMPARE(kernelCalls.load(), heldCalls.back());
    QVERIFY(isOfAll);
    QVERIFY(std::is_sorted(reported.cbegin(), reported.cend()));
    QVERIFY(std::any_of(reported.cbegin(), reported.cend(),
                        [](qsizetype done) { return done > 0 && done < kCount; }));
    QCOMPARE(reported.constLast(), kCount);
}

void TestDuplicateSearch::endIsReportedWithoutARecord()
{
    QList<qsizetype> reported;
    const auto progress = [&reported](qsizetype done, qsizetype all) {
        reported.append(done);
        reported.append(all);
    };
    search::compareWithin({}, {70, 1, progress, {}});
    QVERIFY(reported.size() >= 2);
    QCOMPARE(reported.count(0), reported.size());
}

void TestDuplicateSearch::stopEndsWithoutAResult()
{
    kernelCalls = 0;
    const Records records = seededRecords(9, 300);
    compare::setSimilarityKernelForTests(&kStoppingKernel);
    const DuplicateMap duplicates =
        search::compareWithin(records, {-1, 2, {}, stopOfTheKernel.get_token()}).duplicates;
    compare::setSimilarityKernelForTests(nullptr);
    QVERIFY(stopOfTheKernel.stop_requested());
    QVERIFY(duplicates.isEmpty());
    QVERIFY2(kernelCalls < 2 * kStoppedAt, qPrintable(QString::number(kernelCalls)));
}

void TestDuplicateSearch::emptyListsGiveNothing()
{
    const Records records = seededRecords(1, 3);
    for (const int threshold : {-5, 70}) {
        const search::ComparisonOptions options{threshold, 2, {}, {}};
        QVERIFY(search::compareWithin({}, options).duplicates.isEmpty());
        QVERIFY(search::compareWithin(records.mid(0, 1), options).duplicates.isEmpty());
        QVERIFY(search::compareBetween(records, {}, options).duplicates.isEmpty());
        QVERIFY(search::compareBetween({}, records, options).duplicates.isEmpty());
    }
}

QTEST_GUILESS_MAIN(TestDuplicateSearch)
#include "tst_duplicatesearch.moc"
