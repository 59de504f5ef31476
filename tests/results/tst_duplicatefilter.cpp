#include "results/duplicatefilter.h"
#include "support/letterpairs.h"

#include <QTest>

#include <random>

using namespace Qt::StringLiterals;

using support::letterPairs;

namespace {

QString letter(int index)
{
    return {QChar(u'A' + index)};
}

/** The rule word by word, with the plain list of seen paths. */
DuplicateMap filterByTheRule(const DuplicateMap& duplicates)
{
    QStringList seen;
    DuplicateMap shown;
    for (auto entry = duplicates.cbegin(); entry != duplicates.cend(); ++entry) {
        if (seen.contains(entry.key())) {
            continue;
        }
        QList<std::tuple<QString, int>> list;
        for (const auto& [path, similarity] : entry.value()) {
            if (!seen.contains(path) && path != entry.key()) {
                list.append({path, similarity});
            }
        }
        if (!list.isEmpty()) {
            shown[entry.key()] = list;
            seen.append(entry.key());
            for (const auto& [path, similarity] : list) {
                seen.append(path);
            }
        }
    }
    return shown;
}

} // namespace

class TestDuplicateFilter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listsEveryPathOnce_data();
    void listsEveryPathOnce();
    void keepsOrderAndSimilarity();
    void tellsPathsApartByLetterCase();
    void equalsTheRuleOnRandomMaps();
    void visitsReferencesInTheOrderGiven_data();
    void visitsReferencesInTheOrderGiven();
};

void TestDuplicateFilter::listsEveryPathOnce_data()
{
    QTest::addColumn<DuplicateMap>("duplicates");
    QTest::addColumn<DuplicateMap>("shown");
    QTest::newRow("nothing") << letterPairs("") << letterPairs("");
    QTest::newRow("all alike: B is no second reference")
        << letterPairs("A:BC B:C") << letterPairs("A:BC");
    QTest::newRow("A-B, B-C: C is nowhere") << letterPairs("A:B B:C") << letterPairs("A:B");
    QTest::newRow("C was listed under A, so D has nothing left")
        << letterPairs("A:C D:C") << letterPairs("A:C");
    QTest::newRow("the seen one alone is left out")
        << letterPairs("A:C D:CE") << letterPairs("A:C D:E");
    QTest::newRow("a file that equals its own key") << letterPairs("A:A") << letterPairs("");
    QTest::newRow("the key itself among others") << letterPairs("A:BAC") << letterPairs("A:BC");
    QTest::newRow("a dropped key is not seen") << letterPairs("A:A B:A") << letterPairs("B:A");
    QTest::newRow("a path twice in one list stays twice")
        << letterPairs("A:BB") << letterPairs("A:BB");
}

void TestDuplicateFilter::listsEveryPathOnce()
{
    QFETCH(DuplicateMap, duplicates);
    QTEST(results::filterForDisplay(duplicates), "shown");
}

void TestDuplicateFilter::keepsOrderAndSimilarity()
{
    const DuplicateMap duplicates{
        {QStringLiteral("b"), {{QStringLiteral("z"), 71}, {QStringLiteral("a"), 100}}}};
    QCOMPARE(results::filterForDisplay(duplicates), duplicates);
}

void TestDuplicateFilter::tellsPathsApartByLetterCase()
{
    const DuplicateMap duplicates{{QStringLiteral("A"), {{QStringLiteral("a"), 90}}},
                                  {QStringLiteral("B"), {{QStringLiteral("A"), 90}}},
                                  {QStringLiteral("C"), {{QStringLiteral("b"), 90}}}};
    const DuplicateMap shown{{QStringLiteral("A"), {{QStringLiteral("a"), 90}}},
                             {QStringLiteral("C"), {{QStringLiteral("b"), 90}}}};
    QCOMPARE(results::filterForDisplay(duplicates), shown);
}

void TestDuplicateFilter::equalsTheRuleOnRandomMaps()
{
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        DuplicateMap duplicates;
        const int entries = static_cast<int>(random() % 12);
        for (int entry = 0; entry < entries; ++entry) {
            duplicates[letter(static_cast<int>(random() % 10))].append(
                {letter(static_cast<int>(random() % 10)), static_cast<int>(random() % 101)});
        }
        QCOMPARE(results::filterForDisplay(duplicates), filterByTheRule(duplicates));
        QCOMPARE(results::filterForDisplay(duplicates, duplicates.keys()),
                 filterByTheRule(duplicates));
    }
}

void TestDuplicateFilter::visitsReferencesInTheOrderGiven_data()
{
    QTest::addColumn<DuplicateMap>("duplicates");
    QTest::addColumn<QString>("references");
    QTest::addColumn<DuplicateMap>("shown");
    QTest::newRow("C is the best, A would have B")
        << letterPairs("A:B C:AB") << u"CAB"_s << letterPairs("C:AB");
    QTest::newRow("C and A would both have B")
        << letterPairs("A:BD C:B") << u"CA"_s << letterPairs("A:D C:B");
    QTest::newRow("the order of the paths")
        << letterPairs("A:B C:AB") << u"ABC"_s << letterPairs("A:B");
    QTest::newRow("those without entries are passed over")
        << letterPairs("A:B") << u"XBA"_s << letterPairs("A:B");
    QTest::newRow("those that are not named are left out")
        << letterPairs("A:B C:D") << u"C"_s << letterPairs("C:D");
    QTest::newRow("named twice") << letterPairs("A:B") << u"AA"_s << letterPairs("A:B");
}

void TestDuplicateFilter::visitsReferencesInTheOrderGiven()
{
    QFETCH(const DuplicateMap, duplicates);
    QFETCH(const QString, references);
    QTEST(results::filterForDisplay(duplicates, references.split(QString(), Qt::SkipEmptyParts)),
          "shown");
}

QTEST_GUILESS_MAIN(TestDuplicateFilter)
#include "tst_duplicatefilter.moc"
