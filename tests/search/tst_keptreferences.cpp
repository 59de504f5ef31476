#include "results/duplicatefilter.h"
#include "search/duplicatesearch.h"
#include "search/keptreferences.h"
#include "support/fingerprintwords.h"
#include "support/letterpairs.h"

#include <QSet>
#include <QTest>

#include <algorithm>
#include <array>
#include <random>

using namespace Qt::StringLiterals;

using search::Candidates;
using search::KeepCandidate;
using search::KeepRule;
using search::KeptReferences;
using support::letterPairs;
using Kind = search::KeepRule::Kind;

using FilesByPath = QHash<QString, KeepCandidate>;
using Records = QList<FingerprintRecord>;

namespace {

constexpr int kThreshold = 50;

/** \a found by size alone; \a bestFirst names all files, the largest first. */
KeptReferences keptBySize(const DuplicateMap& found, const QString& bestFirst,
                          Candidates candidates = Candidates::All)
{
    return search::keepBest(found, {{Kind::Size}}, candidates, [&bestFirst](const QString& path) {
        KeepCandidate file{path, u"/"_s, 0, {}};
        file.facts.sizeBytes = bestFirst.size() - bestFirst.indexOf(path);
        return file;
    });
}

/** Damaged copies of a few pieces, some of them damaged so much that only some of them match. */
Records relatives(std::mt19937& random)
{
    std::array<support::Words, 4> pieces;
    for (support::Words& piece : pieces) {
        piece = support::walkingWords(random, 240);
    }
    Records records;
    for (int i = 0; i < 40; ++i) {
        const support::Words& piece = pieces[random() % pieces.size()];
        const auto damage = static_cast<unsigned>(random() % 50);
        records.append({u"/%1"_s.arg(i, 2, 10, QChar(u'0')),
                        support::withErrors(random, piece, damage), 30000, 44100, 2});
    }
    return records;
}

/** Files of three codecs for \a records, among which there are circles by bit rate and size. */
FilesByPath filesOf(const Records& records, std::mt19937& random)
{
    const std::array codecs{u"flac"_s, u"mp3"_s, u"aac"_s};
    FilesByPath files;
    for (const FingerprintRecord& record : records) {
        KeepCandidate file{std::get<0>(record), u"/"_s, 44100, {}};
        file.facts.completeness = fingerprint::Completeness::Whole;
        file.facts.codec = codecs[random() % codecs.size()];
        file.facts.bitRate = static_cast<qint64>(random() % 4);
        file.facts.sizeBytes = static_cast<qint64>(random() % 6);
        files.insert(file.path, file);
    }
    return files;
}

DuplicateMap sortedByPath(DuplicateMap duplicates)
{
    for (auto& matches : duplicates) {
        std::sort(matches.begin(), matches.end());
    }
    return duplicates;
}

} // namespace

class TestKeptReferences : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void referenceIsTheBestOfItsGroup_data();
    void referenceIsTheBestOfItsGroup();
    void filesThatNoPairLinksDoNotCount();
    void keysOfTheFirstGroupStayKeys();
    void resultIsThatOfAComparisonBestFirst_data();
    void resultIsThatOfAComparisonBestFirst();
};

void TestKeptReferences::referenceIsTheBestOfItsGroup_data()
{
    QTest::addColumn<DuplicateMap>("found");
    QTest::addColumn<QString>("bestFirst");
    QTest::addColumn<DuplicateMap>("duplicates");
    QTest::addColumn<DuplicateMap>("shown");
    QTest::newRow("nothing") << letterPairs("") << u""_s << letterPairs("") << letterPairs("");
    QTest::newRow("already the best")
        << letterPairs("A:BC B:C") << u"ABC"_s << letterPairs("A:BC B:C") << letterPairs("A:BC");
    QTest::newRow("last path is the best")
        << letterPairs("A:BC B:C") << u"CAB"_s << letterPairs("A:B C:AB") << letterPairs("C:AB");
    QTest::newRow("in the reverse order of paths")
        << letterPairs("A:BC B:C") << u"CBA"_s << letterPairs("B:A C:AB") << letterPairs("C:AB");
    QTest::newRow("two that are not alike: the better one takes the third")
        << letterPairs("A:C B:C") << u"BAC"_s << letterPairs("A:C B:C") << letterPairs("B:C");
    QTest::newRow("best of a chain, and what is left of it")
        << letterPairs("A:B B:C C:D") << u"BDCA"_s << letterPairs("B:AC D:C")
        << letterPairs("B:AC");
    QTest::newRow("found in another order than that of the paths")
        << letterPairs("A:CB") << u"ABC"_s << letterPairs("A:BC") << letterPairs("A:BC");
    QTest::newRow("two groups") << letterPairs("A:B C:D") << u"DBCA"_s << letterPairs("B:A D:C")
                                << letterPairs("B:A D:C");
}

void TestKeptReferences::referenceIsTheBestOfItsGroup()
{
    QFETCH(const DuplicateMap, found);
    QFETCH(const QString, bestFirst);
    QFETCH(const DuplicateMap, duplicates);
    const KeptReferences kept = keptBySize(found, bestFirst);
    QCOMPARE(kept.duplicates, duplicates);
    QTEST(results::filterForDisplay(kept.duplicates, kept.bestFirst), "shown");
}

void TestKeptReferences::filesThatNoPairLinksDoNotCount()
{
    // By bit rate, then by size, A is better than B, B than C, and C than A.
    const auto fileAt = [](const QString& path) {
        KeepCandidate file{path, u"/"_s, 44100, {}};
        file.facts.codec = path == u"C"_s ? u"aac"_s : u"mp3"_s;
        file.facts.bitRate = path == u"A"_s ? 320 : 128;
        file.facts.sizeBytes = path == u"B"_s ? 3 : path == u"C"_s ? 2 : 1;
        return file;
    };
    const auto kept = [&fileAt](const char* found) {
        return search::keepBest(letterPairs(found), {{Kind::BitRate}, {Kind::Size}},
                                Candidates::All, fileAt)
            .duplicates;
    };
    QCOMPARE(kept("A:Z B:C"), letterPairs("A:Z B:C"));
    // Linked by Z, they are in a circle, and the size gives way to the bit rate.
    QCOMPARE(kept("A:Z B:CZ"), letterPairs("A:Z B:Z C:B"));
}

void TestKeptReferences::keysOfTheFirstGroupStayKeys()
{
    const DuplicateMap found = letterPairs("A:YZ B:Z C:Y");
    const KeptReferences kept = keptBySize(found, u"ZYCBA"_s, Candidates::FirstGroup);
    QCOMPARE(kept.duplicates, found);
    QCOMPARE(kept.bestFirst, QStringList({u"C"_s, u"B"_s, u"A"_s}));
    QCOMPARE(results::filterForDisplay(kept.duplicates, kept.bestFirst), letterPairs("B:Z C:Y"));
}

void TestKeptReferences::resultIsThatOfAComparisonBestFirst_data()
{
    QTest::addColumn<int>("threadCount");
    for (const int count : {1, 2, 8}) {
        QTest::addRow("%d", count) << count;
    }
}

void TestKeptReferences::resultIsThatOfAComparisonBestFirst()
{
    QFETCH(const int, threadCount);
    search::ComparisonOptions options;
    options.threshold = kThreshold;
    options.threadCount = threadCount;
    int pairs = 0;
    for (unsigned seed = 0; seed < 20; ++seed) {
        std::mt19937 random(seed);
        const Records records = relatives(random);
        const FilesByPath files = filesOf(records, random);
        const KeptReferences kept = search::keepBest(
            search::compareWithin(records, options).duplicates, {{Kind::BitRate}, {Kind::Size}},
            Candidates::All, [&files](const QString& path) { return files.value(path); });

        Records bestFirst;
        for (const QString& path : kept.bestFirst) {
            bestFirst.append(*std::find_if(
                records.cbegin(), records.cend(),
                [&path](const FingerprintRecord& record) { return std::get<0>(record) == path; }));
        }
        QCOMPARE(kept.duplicates,
                 sortedByPath(search::compareWithin(bestFirst, options).duplicates));
        pairs += static_cast<int>(kept.duplicates.size());

        QSet<QString> listed;
        const DuplicateMap shown = results::filterForDisplay(kept.duplicates, kept.bestFirst);
        QVERIFY(shown.contains(kept.bestFirst.constFirst()));
        for (auto entry = shown.cbegin(); entry != shown.cend(); ++entry) {
            QVERIFY(!listed.contains(entry.key()));
            listed.insert(entry.key());
            for (const auto& [path, similarity] : entry.value()) {
                QVERIFY(!listed.contains(path));
                listed.insert(path);
                QVERIFY(kept.bestFirst.indexOf(entry.key()) < kept.bestFirst.indexOf(path));
            }
        }
    }
    QVERIFY(pairs > 100);
}

QTEST_GUILESS_MAIN(TestKeptReferences)
#include "tst_keptreferences.moc"
