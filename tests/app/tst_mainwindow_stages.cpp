#include "app/mainwindow.h"
#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QSettings>
#include <QTest>
#include <QtConcurrent/QtConcurrentMap>

#include <algorithm>
#include <random>

namespace {

using Words = QList<quint32>;

/** Records of which some are damaged copies of others, with durations on both sides of the gate. */
QList<FingerprintRecord> seededRecords(unsigned seed, int count)
{
    std::mt19937 random(seed);
    QList<FingerprintRecord> records;
    for (int i = 0; i < count; ++i) {
        Words words;
        int durationMs = 0;
        if (i > 2 && random() % 2 == 0) {
            const FingerprintRecord& original = records.at(static_cast<int>(random()) & 1);
            words = std::get<1>(original).mid(static_cast<qsizetype>(random() % 20));
            for (quint32& word : words) {
                word ^= random() % 4 == 0 ? 1U << (random() % 32) : 0U;
            }
            durationMs = std::get<2>(original) + static_cast<int>(random() % 7000);
        } else {
            words.resize(static_cast<qsizetype>(random() % 200));
            for (quint32& word : words) {
                word = static_cast<quint32>(random());
            }
            durationMs = static_cast<int>(random() % 200000);
        }
        records.append({QStringLiteral("/music/%1.mp3").arg(i, 3, 10, QLatin1Char('0')), words,
                        durationMs, 44100, 2});
    }
    return records;
}

QStringList pairsOf(const DuplicateMap& map)
{
    QStringList pairs;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        for (const auto& [path, similarity] : entry.value()) {
            pairs.append(QStringLiteral("%1 %2 %3").arg(entry.key(), path).arg(similarity));
        }
    }
    pairs.sort();
    return pairs;
}

void addRowsOfThreads()
{
    QTest::addColumn<int>("threads");
    QTest::newRow("1 thread") << 1;
    QTest::newRow("2 threads") << 2;
    QTest::newRow("8 threads") << 8;
}

DuplicateMap compareSerially(const QList<compare::IndexPair>& pairs)
{
    DuplicateMap map;
    for (const compare::IndexPair& pair : pairs) {
        MainWindow::findDuplicateFiles(map, MainWindow::calcSingleSimilarity(pair));
    }
    return map;
}

} // namespace

class TestMainWindowStages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void listsAreCollectedUnchangedInOrder();
    void failedRecordsAreCollectedToo();
    void failureIsPrintedAndLoggedAsError();
    void similarityCarriesItsIndices();
    void pairIsListedUnderItsFirstFileOnly();
    void thresholdIsReadAnewForEveryPair();
    void absentThresholdEntersEveryPair();
    void parallelComparisonEqualsTheSerialOne_data();
    void parallelComparisonEqualsTheSerialOne();
    void parallelListingKeepsTheGroupsInOrder();
    void parallelFingerprintsEqualTheSerialOnes_data();
    void parallelFingerprintsEqualTheSerialOnes();

private:
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowStages::init()
{
    fixture = std::make_unique<WindowFixture>();
    settings::write({70, true});
}

void TestMainWindowStages::cleanup()
{
    MainWindow::fingerprintsFirst.clear();
    MainWindow::fingerprintsSecond.clear();
    fixture.reset();
}

void TestMainWindowStages::listsAreCollectedUnchangedInOrder()
{
    QList<QStringList> result;
    MainWindow::collectTmp(result, {QStringLiteral("b"), QStringLiteral("a")});
    MainWindow::collectTmp(result, {});
    QCOMPARE(result,
             (QList<QStringList>{{QStringLiteral("b"), QStringLiteral("a")}, QStringList()}));
}

void TestMainWindowStages::failedRecordsAreCollectedToo()
{
    QList<FingerprintRecord> result;
    const FingerprintRecord failed =
        MainWindow::calcSingleFingerprint(QStringLiteral("/nowhere/at/all.mp3"));
    QCOMPARE(failed, FingerprintRecord(QStringLiteral("/nowhere/at/all.mp3"), {}, 0, 0, 0));
    MainWindow::collectFingerprint(result, failed);
    QCOMPARE(result, QList<FingerprintRecord>{failed});
}

void TestMainWindowStages::failureIsPrintedAndLoggedAsError()
{
    QTest::ignoreMessage(QtDebugMsg, "ERROR");
    testmedia::StandardErrorCapture capture;
    MainWindow::calcSingleFingerprint(QStringLiteral("/nowhere/at/all.mp3"));
    QCOMPARE(capture.take(),
             QByteArray("ERROR: Could not open the input file (No such file or directory)\n"));
}

void TestMainWindowStages::similarityCarriesItsIndices()
{
    MainWindow::fingerprintsFirst = {{QStringLiteral("a"), {}, 0, 0, 0},
                                     {QStringLiteral("b"), {1, 2}, 10000, 0, 0}};
    MainWindow::fingerprintsSecond = {{QStringLiteral("c"), {1, 2}, 15000, 0, 0},
                                      {QStringLiteral("d"), {1, 2}, 15001, 0, 0}};
    using Result = std::tuple<int, int, int>;
    QCOMPARE(MainWindow::calcSingleSimilarity({1, 0}), Result(1, 0, 100));
    QCOMPARE(MainWindow::calcSingleSimilarity({1, 1}), Result(1, 1, 0));
    QCOMPARE(MainWindow::calcSingleSimilarity({0, 0}), Result(0, 0, 0));
}

void TestMainWindowStages::pairIsListedUnderItsFirstFileOnly()
{
    MainWindow::fingerprintsFirst = {{QStringLiteral("z"), {}, 0, 0, 0},
                                     {QStringLiteral("a"), {}, 0, 0, 0}};
    MainWindow::fingerprintsSecond = MainWindow::fingerprintsFirst;
    DuplicateMap map;
    MainWindow::findDuplicateFiles(map, {0, 1, 88});
    QCOMPARE(map, (DuplicateMap{{QStringLiteral("z"), {{QStringLiteral("a"), 88}}}}));
}

void TestMainWindowStages::thresholdIsReadAnewForEveryPair()
{
    MainWindow::fingerprintsFirst = {{QStringLiteral("a"), {}, 0, 0, 0}};
    MainWindow::fingerprintsSecond = {{QStringLiteral("b"), {}, 0, 0, 0}};
    DuplicateMap map;
    MainWindow::findDuplicateFiles(map, {0, 0, 69});
    QVERIFY(map.isEmpty());
    settings::write({69, true});
    MainWindow::findDuplicateFiles(map, {0, 0, 69});
    QCOMPARE(pairsOf(map), QStringList{QStringLiteral("a b 69")});
}

void TestMainWindowStages::absentThresholdEntersEveryPair()
{
    QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel")).clear();
    MainWindow::fingerprintsFirst = {{QStringLiteral("a"), {}, 0, 0, 0}};
    MainWindow::fingerprintsSecond = {{QStringLiteral("b"), {}, 90000, 0, 0}};
    DuplicateMap map;
    MainWindow::findDuplicateFiles(map, MainWindow::calcSingleSimilarity({0, 0}));
    QCOMPARE(pairsOf(map), QStringList{QStringLiteral("a b 0")});
}

void TestMainWindowStages::parallelComparisonEqualsTheSerialOne_data()
{
    addRowsOfThreads();
}

void TestMainWindowStages::parallelComparisonEqualsTheSerialOne()
{
    QFETCH(int, threads);
    QThreadPool pool;
    pool.setMaxThreadCount(threads);
    for (unsigned seed = 1; seed <= 3; ++seed) {
        MainWindow::fingerprintsFirst = seededRecords(seed, 60);
        MainWindow::fingerprintsSecond = MainWindow::fingerprintsFirst;
        const QList<compare::IndexPair> pairs = compare::withinGroupPairs(60).value();
        const QStringList expected = pairsOf(compareSerially(pairs));
        QVERIFY(expected.size() > 20);
        const DuplicateMap parallel =
            QtConcurrent::mappedReduced(
                &pool, pairs, &MainWindow::calcSingleSimilarity, &MainWindow::findDuplicateFiles,
                QtConcurrent::UnorderedReduce | QtConcurrent::SequentialReduce)
                .result();
        QCOMPARE(pairsOf(parallel), expected);
    }
}

void TestMainWindowStages::parallelListingKeepsTheGroupsInOrder()
{
    QTemporaryDir few;
    QTemporaryDir many;
    const auto touch = [](const QTemporaryDir& dir, int index) {
        QFile file(dir.filePath(QStringLiteral("%1.mp3").arg(index)));
        return file.open(QIODevice::WriteOnly);
    };
    QVERIFY(touch(few, 0));
    for (int i = 0; i < 500; ++i) {
        QVERIFY(touch(many, i));
    }
    QThreadPool pool;
    pool.setMaxThreadCount(8);
    const QList<QStringList> groups{{many.path()}, {few.path()}};
    const QList<QStringList> result =
        QtConcurrent::mappedReduced(&pool, groups, &MainWindow::find_audio_files_dir,
                                    &MainWindow::collectTmp, QtConcurrent::OrderedReduce)
            .result();
    QCOMPARE(result.size(), 2);
    QCOMPARE(result.at(0).size(), 500);
    QCOMPARE(result.at(1), QStringList{few.filePath(QStringLiteral("0.mp3"))});
}

void TestMainWindowStages::parallelFingerprintsEqualTheSerialOnes_data()
{
    addRowsOfThreads();
}

void TestMainWindowStages::parallelFingerprintsEqualTheSerialOnes()
{
    QFETCH(int, threads);
    const testmedia::MediaFolder media;
    testmedia::Tune tune;
    tune.seconds = 4;
    QStringList paths;
    for (unsigned seed = 1; seed <= 6; ++seed) {
        tune.seed = seed;
        paths << media.makeTune(QStringLiteral("%1.flac").arg(seed), tune)
              << media.write(QStringLiteral("%1.mp3").arg(seed), "not music");
    }
    const testmedia::StandardErrorCapture capture;
    QList<FingerprintRecord> expected;
    for (const QString& path : std::as_const(paths)) {
        MainWindow::collectFingerprint(expected, MainWindow::calcSingleFingerprint(path));
    }
    std::sort(expected.begin(), expected.end());
    QThreadPool pool;
    pool.setMaxThreadCount(threads);
    for (int round = 0; round < 3; ++round) {
        QList<FingerprintRecord> parallel =
            QtConcurrent::mappedReduced(
                &pool, paths, &MainWindow::calcSingleFingerprint, &MainWindow::collectFingerprint,
                QtConcurrent::UnorderedReduce | QtConcurrent::SequentialReduce)
                .result();
        std::sort(parallel.begin(), parallel.end());
        QCOMPARE(parallel, expected);
    }
}

QTEST_MAIN(TestMainWindowStages)
#include "tst_mainwindow_stages.moc"
