#include "compare/comparisonworklist.h"
#include "support/occupiedpool.h"
#include "support/windowfixture.h"

#include <QFuture>
#include <QProgressBar>
#include <QStatusBar>
#include <QTest>

namespace {

using RecordsFuture = QFuture<QList<FingerprintRecord>>;

/** Opens a private member of the window: no run from outside ends one group's files only. */
template <typename Tag, typename Tag::Type Member> struct Opened
{
    friend typename Tag::Type member(Tag /*tag*/)
    {
        return Member;
    }
};
struct FirstRun
{
    using Type = RecordsFuture MainWindow::*;
    friend Type member(FirstRun);
};
struct SecondRun
{
    using Type = RecordsFuture MainWindow::*;
    friend Type member(SecondRun);
};
struct Comparison
{
    using Type = QFuture<DuplicateMap> MainWindow::*;
    friend Type member(Comparison);
};
template struct Opened<FirstRun, &MainWindow::fingerprintFuture1>;
template struct Opened<SecondRun, &MainWindow::fingerprintFuture2>;
template struct Opened<Comparison, &MainWindow::duplicatesFuture>;

/** As many records, all alike, as a finished run has them. */
RecordsFuture finishedRun(int count, const QString& prefix)
{
    QList<FingerprintRecord> records;
    for (int i = 0; i < count; ++i) {
        records.append({prefix + QString::number(i), {1, 2, 3}, 10000, 44100, 2});
    }
    return QtFuture::makeReadyFuture(records);
}

RecordsFuture cancelledRun()
{
    RecordsFuture run = finishedRun(2, QStringLiteral("/b/"));
    run.cancel();
    return run;
}

} // namespace

/** The slot that the comparison begins with, and how the bar is emptied at the end of a run. */
class TestMainWindowCompare : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void groupBIsLookedAtBetweenGroupsOnly_data();
    void groupBIsLookedAtBetweenGroupsOnly();
    void comparisonExistsWhenTheSlotReturns_data();
    void comparisonExistsWhenTheSlotReturns();
    void aLongListOfAResetRunStartsNothing_data();
    void aLongListOfAResetRunStartsNothing();
    void barLosesItsTextBeforeItsValueWhereNothingIsCompared();
    void barLosesItsValueBeforeItsTextAfterAComparison();

private:
    template <typename Tag> auto& opened(Tag tag) const
    {
        return fixture->window().*member(tag);
    }
    /** Whether the bar shows text each time that it is emptied from now on. */
    QList<bool>& textWheneverEmptied();

    std::unique_ptr<WindowFixture> fixture;
    QList<bool> m_textWheneverEmptied;
};

void TestMainWindowCompare::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowCompare::cleanup()
{
    fixture.reset();
}

void TestMainWindowCompare::groupBIsLookedAtBetweenGroupsOnly_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<RecordsFuture>("groupB");
    QTest::addColumn<bool>("compared");
    QTest::newRow("between groups, never started") << 0 << RecordsFuture() << false;
    QTest::newRow("between groups, cancelled") << 0 << cancelledRun() << false;
    QTest::newRow("between groups, finished") << 0 << finishedRun(1, QStringLiteral("/b/")) << true;
    QTest::newRow("within group, never started") << 1 << RecordsFuture() << true;
    QTest::newRow("within group, cancelled") << 1 << cancelledRun() << true;
    QTest::newRow("within group, finished") << 1 << finishedRun(0, QString()) << true;
}

void TestMainWindowCompare::groupBIsLookedAtBetweenGroupsOnly()
{
    QFETCH(int, mode);
    QFETCH(RecordsFuture, groupB);
    QFETCH(bool, compared);
    fixture->setMode(mode);
    opened(FirstRun()) = finishedRun(mode == 0 ? 1 : 2, QStringLiteral("/a/"));
    opened(SecondRun()) = groupB;
    fixture->window().compareAudioParallel();
    QCOMPARE(!opened(Comparison()).isCanceled(), compared);
    if (compared) {
        QVERIFY(fixture->waitForResult());
        QCOMPARE(fixture->countText(), QStringLiteral("1 duplicate audio file found."));
    } else {
        QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
    }
}

void TestMainWindowCompare::comparisonExistsWhenTheSlotReturns_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::addColumn<int>("pairs");
    QTest::addColumn<bool>("exists");
    QTest::newRow("one file within a group") << 1 << 1 << 0 << 0 << true;
    QTest::newRow("a few between groups") << 0 << 3 << 4 << 12 << true;
    QTest::newRow("a million between groups") << 0 << 1000 << 1000 << 1'000'000 << true;
    QTest::newRow("a million within a group") << 1 << 1414 << 0 << 998'991 << true;
    QTest::newRow("more than a million between groups") << 0 << 1001 << 1000 << 1'001'000 << false;
    QTest::newRow("more than a million within a group") << 1 << 1415 << 0 << 1'000'405 << false;
}

void TestMainWindowCompare::comparisonExistsWhenTheSlotReturns()
{
    QFETCH(int, mode);
    QFETCH(int, first);
    QFETCH(int, second);
    QFETCH(int, pairs);
    QFETCH(bool, exists);
    fixture->setMode(mode);
    opened(FirstRun()) = finishedRun(first, QStringLiteral("/a/"));
    opened(SecondRun()) = finishedRun(second, QStringLiteral("/b/"));
    {
        // No worker does anything before the slot has returned.
        fixture->pool()->setMaxThreadCount(1);
        const support::OccupiedPool occupied(fixture->pool());
        fixture->window().compareAudioParallel();
        QCOMPARE(!opened(Comparison()).isCanceled(), exists);
        if (exists && pairs > 0) {
            QCOMPARE(opened(Comparison()).progressMaximum(), pairs);
        }
    }
    // What was left to a worker gets there, too.
    QTRY_COMPARE_WITH_TIMEOUT(opened(Comparison()).progressMaximum(), pairs,
                              WindowFixture::kHangGuardMs);
}

void TestMainWindowCompare::aLongListOfAResetRunStartsNothing_data()
{
    QTest::addColumn<bool>("listed");
    QTest::newRow("reset while it is listed") << false;
    QTest::newRow("reset when it is listed") << true;
}

void TestMainWindowCompare::aLongListOfAResetRunStartsNothing()
{
    QFETCH(bool, listed);
    fixture->setMode(1);
    opened(FirstRun()) = finishedRun(1415, QStringLiteral("/a/"));
    fixture->window().compareAudioParallel();
    QVERIFY(opened(Comparison()).isCanceled());
    if (listed) {
        // That it is listed is known, but not yet delivered.
        fixture->pool()->waitForDone();
    }
    fixture->window().resetAll();
    QCoreApplication::processEvents();
    QVERIFY(opened(Comparison()).isCanceled());
    QVERIFY(MainWindow::fingerprintsFirst.isEmpty());
    QCOMPARE(fixture->countText(), QString());
    QCOMPARE(fixture->find<QStatusBar>("statusbar")->currentMessage(), QString());
}

QList<bool>& TestMainWindowCompare::textWheneverEmptied()
{
    const auto* bar = fixture->find<QProgressBar>("progressBar");
    m_textWheneverEmptied.clear();
    connect(bar, &QProgressBar::valueChanged, this, [this, bar](int value) {
        if (value == 0) {
            m_textWheneverEmptied.append(bar->isTextVisible());
        }
    });
    return m_textWheneverEmptied;
}

void TestMainWindowCompare::barLosesItsTextBeforeItsValueWhereNothingIsCompared()
{
    auto* bar = fixture->find<QProgressBar>("progressBar");
    bar->setValue(100);
    bar->setTextVisible(true);
    const QList<bool>& texts = textWheneverEmptied();
    fixture->window().noDuplicateFilesFound();
    QCOMPARE(texts, QList<bool>{false});
    QCOMPARE(bar->value(), 0);
    QVERIFY(!bar->isTextVisible());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
}

void TestMainWindowCompare::barLosesItsValueBeforeItsTextAfterAComparison()
{
    auto* bar = fixture->find<QProgressBar>("progressBar");
    bar->setValue(80);
    bar->setTextVisible(true);
    const QList<bool>& texts = textWheneverEmptied();
    opened(FirstRun()) = finishedRun(1, QStringLiteral("/a/"));
    opened(SecondRun()) = finishedRun(1, QStringLiteral("/b/"));
    fixture->window().compareAudioParallel();
    QVERIFY(fixture->waitForResult());
    QCOMPARE(texts, QList<bool>{true});
    QCOMPARE(bar->value(), 0);
    QVERIFY(!bar->isTextVisible());
}

QTEST_MAIN(TestMainWindowCompare)
#include "tst_mainwindow_compare.moc"
