#include "settings/settingsstore.h"

#include <QSettings>
#include <QTest>

namespace {

/** The store as any other program of the user would open it. */
class Store : public QSettings
{
public:
    Store()
        : QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel"))
    {
    }
};

} // namespace

class TestSettingsStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        Store().clear();
    }

    void absentKeysReadAsZeroAndFalse();
    void missingDefaultsAreSeventyAndTrue();
    void defaultsNeverReplaceAValue();
    void oneMissingDefaultLeavesTheOtherAlone();
    void writtenValuesAreReadBackWithTheirTypes();
    void thresholdIsStoredAsGiven();
    void everyReadSeesTheLatestChange();
    void textThatIsNoNumberReadsAsZero();
};

void TestSettingsStore::absentKeysReadAsZeroAndFalse()
{
    QCOMPARE(settings::similarityThreshold(), 0);
    QCOMPARE(settings::multicoreEnabled(), false);
    QVERIFY(!settings::hasSimilarityThreshold());
}

void TestSettingsStore::missingDefaultsAreSeventyAndTrue()
{
    settings::writeMissingDefaults();
    QCOMPARE(settings::similarityThreshold(), 70);
    QCOMPARE(settings::multicoreEnabled(), true);
    QVERIFY(settings::hasSimilarityThreshold());
    QCOMPARE(Store().allKeys(),
             (QStringList{QStringLiteral("multicore"), QStringLiteral("similarity")}));
}

void TestSettingsStore::defaultsNeverReplaceAValue()
{
    settings::write({-5, false});
    settings::writeMissingDefaults();
    QCOMPARE(settings::similarityThreshold(), -5);
    QCOMPARE(settings::multicoreEnabled(), false);
}

void TestSettingsStore::oneMissingDefaultLeavesTheOtherAlone()
{
    Store().setValue(QStringLiteral("similarity"), 12);
    settings::writeMissingDefaults();
    QCOMPARE(settings::similarityThreshold(), 12);
    QCOMPARE(settings::multicoreEnabled(), true);
}

void TestSettingsStore::writtenValuesAreReadBackWithTheirTypes()
{
    settings::write({85, true});
    const settings::Values values = settings::read();
    QCOMPARE(values.similarityThreshold, 85);
    QCOMPARE(values.multicore, true);
    QCOMPARE(Store().value(QStringLiteral("similarity")).toString(), QStringLiteral("85"));
    QCOMPARE(Store().value(QStringLiteral("multicore")).toString(), QStringLiteral("true"));
}

void TestSettingsStore::thresholdIsStoredAsGiven()
{
    for (const int threshold : {150, -5, 0, 100}) {
        settings::write({threshold, true});
        QCOMPARE(settings::similarityThreshold(), threshold);
    }
}

void TestSettingsStore::everyReadSeesTheLatestChange()
{
    settings::write({85, true});
    QCOMPARE(settings::similarityThreshold(), 85);
    Store().setValue(QStringLiteral("similarity"), 40);
    QCOMPARE(settings::similarityThreshold(), 40);
}

void TestSettingsStore::textThatIsNoNumberReadsAsZero()
{
    Store().setValue(QStringLiteral("similarity"), QStringLiteral("seventy"));
    QCOMPARE(settings::similarityThreshold(), 0);
    settings::writeMissingDefaults();
    QCOMPARE(Store().value(QStringLiteral("similarity")).toString(), QStringLiteral("seventy"));
}

QTEST_GUILESS_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"
