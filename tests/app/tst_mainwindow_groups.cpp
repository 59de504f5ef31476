#include "support/windowfixture.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QProgressBar>
#include <QTest>
#include <QTreeWidget>
#include <QWheelEvent>

class TestMainWindowGroups : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void chosenFolderIsListedUnchanged();
    void cancelledDialogAddsNothing();
    void sameFolderIsListedTwice();
    void removingTakesTheCurrentRowOnly();
    void removingWithoutACurrentRowChangesNothing();
    void withinGroupHidesGroupBAndTheHeading();
    void betweenGroupsShowsBothAgainEmpty();
    void changingTheModeEmptiesFoldersAndResults();
    void wheelOverTheModeChangesNothing();
    void newComparisonEmptiesEverything();
    void emptyGroupsClearTheResultsAndDoNothingElse_data();
    void emptyGroupsClearTheResultsAndDoNothingElse();

private:
    void showAnEarlierResult();
    std::unique_ptr<WindowFixture> fixture;
    QTemporaryDir folder;
};

void TestMainWindowGroups::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowGroups::cleanup()
{
    fixture.reset();
}

/** The window as it looks after a run that found something. */
void TestMainWindowGroups::showAnEarlierResult()
{
    fixture->find<QTreeWidget>("treeWidget")
        ->addTopLevelItem(new QTreeWidgetItem(QStringList{QStringLiteral("old")}));
    fixture->find<QLabel>("duplicateFoundLabel")->show();
    fixture->find<QProgressBar>("progressBar")->setValue(50);
    fixture->find<QProgressBar>("progressBar")->setTextVisible(true);
}

void TestMainWindowGroups::chosenFolderIsListedUnchanged()
{
    QVERIFY(fixture->addFolder('A', folder.path()));
    QCOMPARE(fixture->folders('A'), QStringList{folder.path()});
    QCOMPARE(fixture->folders('B'), QStringList());
    QVERIFY(fixture->addFolder('B', folder.path()));
    QCOMPARE(fixture->folders('B'), QStringList{folder.path()});
}

void TestMainWindowGroups::cancelledDialogAddsNothing()
{
    QVERIFY(fixture->addFolder('A', QString()));
    QVERIFY(fixture->addFolder('B', QString()));
    QCOMPARE(fixture->folders('A'), QStringList());
    QCOMPARE(fixture->folders('B'), QStringList());
}

void TestMainWindowGroups::sameFolderIsListedTwice()
{
    QVERIFY(fixture->addFolder('A', folder.path()));
    QVERIFY(fixture->addFolder('A', folder.path()));
    QCOMPARE(fixture->folders('A'), (QStringList{folder.path(), folder.path()}));
}

void TestMainWindowGroups::removingTakesTheCurrentRowOnly()
{
    for (const char* text : {"one", "two", "three"}) {
        fixture->listFolder('A', QString::fromLatin1(text));
        fixture->listFolder('B', QString::fromLatin1(text));
    }
    fixture->find<QListWidget>("folderListGroupA")->setCurrentRow(1);
    QVERIFY(fixture->click("removeFolderButtonGroupA"));
    QCOMPARE(fixture->folders('A'), (QStringList{QStringLiteral("one"), QStringLiteral("three")}));
    fixture->find<QListWidget>("folderListGroupB")->setCurrentRow(2);
    QVERIFY(fixture->click("removeFolderButtonGroupB"));
    QCOMPARE(fixture->folders('B'), (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
}

void TestMainWindowGroups::removingWithoutACurrentRowChangesNothing()
{
    QVERIFY(fixture->click("removeFolderButtonGroupA"));
    fixture->listFolder('A', QStringLiteral("one"));
    fixture->find<QListWidget>("folderListGroupA")->setCurrentRow(-1);
    QVERIFY(fixture->click("removeFolderButtonGroupA"));
    QCOMPARE(fixture->folders('A'), QStringList{QStringLiteral("one")});
}

void TestMainWindowGroups::withinGroupHidesGroupBAndTheHeading()
{
    fixture->setMode(1);
    QVERIFY(!fixture->find<QWidget>("folderListParentB")->isVisible());
    QVERIFY(!fixture->find<QLabel>("label_A")->isVisible());
    QVERIFY(fixture->find<QListWidget>("folderListGroupA")->isVisible());
    QVERIFY(fixture->find<QWidget>("addFolderButtonGroupA")->isVisible());
    QVERIFY(fixture->find<QWidget>("removeFolderButtonGroupA")->isVisible());
}

void TestMainWindowGroups::betweenGroupsShowsBothAgainEmpty()
{
    fixture->setMode(1);
    fixture->listFolder('A', QStringLiteral("one"));
    fixture->setMode(0);
    QVERIFY(fixture->find<QWidget>("folderListParentB")->isVisible());
    QVERIFY(fixture->find<QLabel>("label_A")->isVisible());
    QCOMPARE(fixture->folders('A'), QStringList());
    QCOMPARE(fixture->folders('B'), QStringList());
}

void TestMainWindowGroups::changingTheModeEmptiesFoldersAndResults()
{
    fixture->listFolder('A', QStringLiteral("one"));
    fixture->listFolder('B', QStringLiteral("two"));
    showAnEarlierResult();
    fixture->setMode(1);
    QCOMPARE(fixture->folders('A'), QStringList());
    QCOMPARE(fixture->folders('B'), QStringList());
    QCOMPARE(fixture->treeText(), QString());
    QVERIFY(!fixture->find<QLabel>("duplicateFoundLabel")->isVisible());
}

void TestMainWindowGroups::wheelOverTheModeChangesNothing()
{
    fixture->listFolder('A', QStringLiteral("/music"));
    auto* selector = fixture->find<QComboBox>("comparisonModeSelector");
    selector->setFocus();
    const QPointF place = selector->rect().center();
    QWheelEvent event(place, selector->mapToGlobal(place), QPoint(), QPoint(0, -120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(selector, &event);
    QCOMPARE(selector->currentIndex(), 0);
    QCOMPARE(fixture->folders('A'), QStringList{QStringLiteral("/music")});
}

void TestMainWindowGroups::newComparisonEmptiesEverything()
{
    fixture->listFolder('A', QStringLiteral("one"));
    fixture->listFolder('B', QStringLiteral("two"));
    showAnEarlierResult();
    fixture->choose("actionNew_Comparison");
    QCOMPARE(fixture->folders('A'), QStringList());
    QCOMPARE(fixture->folders('B'), QStringList());
    QCOMPARE(fixture->treeText(), QString());
    QVERIFY(!fixture->find<QLabel>("duplicateFoundLabel")->isVisible());
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
}

void TestMainWindowGroups::emptyGroupsClearTheResultsAndDoNothingElse_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("groupA");
    QTest::addColumn<bool>("groupB");
    QTest::newRow("between, both empty") << 0 << false << false;
    QTest::newRow("between, A empty") << 0 << false << true;
    QTest::newRow("between, B empty") << 0 << true << false;
    QTest::newRow("within, A empty") << 1 << false << false;
}

void TestMainWindowGroups::emptyGroupsClearTheResultsAndDoNothingElse()
{
    QFETCH(int, mode);
    QFETCH(bool, groupA);
    QFETCH(bool, groupB);
    fixture->setMode(mode);
    if (groupA) {
        fixture->listFolder('A', folder.path());
    }
    if (groupB) {
        fixture->listFolder('B', folder.path());
    }
    showAnEarlierResult();
    QVERIFY(fixture->click("compareButton"));
    QCOMPARE(fixture->treeText(), QString());
    QCOMPARE(fixture->find<QProgressBar>("progressBar")->value(), 0);
    QVERIFY(!fixture->find<QProgressBar>("progressBar")->isTextVisible());
    QCOMPARE(fixture->countText(), QString());
    QCOMPARE(fixture->pool()->activeThreadCount(), 0);
    QCOMPARE(fixture->folders('A').size(), groupA ? 1 : 0);
    QCOMPARE(fixture->folders('B').size(), groupB ? 1 : 0);
}

QTEST_MAIN(TestMainWindowGroups)
#include "tst_mainwindow_groups.moc"
