#include "app/remainingtime.h"
#include "app/runstatus.h"
#include "compare/comparisonworklist.h"
#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QMenu>
#include <QSignalSpy>
#include <QStatusBar>
#include <QStatusTipEvent>
#include <QTest>
#include <QToolTip>

using namespace Qt::StringLiterals;

namespace {

/** Raw 16-bit samples for more than a day, which take no room on the disk. */
constexpr qint64 kEndlessBytes = qint64(8) << 30;
constexpr qint64 kMinuteMs = 60'000;

/** Writes files without music; returns their paths, in ascending order. */
QStringList writeBrokenFiles(const testmedia::MediaFolder& folder, int count)
{
    QStringList paths;
    for (int i = 0; i < count; ++i) {
        paths.append(folder.write(u"%1.wav"_s.arg(i, 4, 10, QLatin1Char('0')), "not music"));
    }
    return paths;
}

/** What screen readers were passed: the words, or the name of the object that has them. */
QStringList events;

void recordAnnouncement(QAccessibleEvent* event)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    if (event->type() == QAccessible::Announcement) {
        events.append(static_cast<QAccessibleAnnouncementEvent*>(event)->message());
    }
#else
    const QAccessibleInterface* source = event->accessibleInterface();
    if (event->type() == QAccessible::ObjectShow && source->role() == QAccessible::Notification) {
        events.append(source->text(QAccessible::Name));
    }
#endif
}

} // namespace

/** What the status bar shows of a run. */
class TestMainWindowStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void listingIsShownFromThePressOn();
    void readFilesAreCountedInTheUsersForm();
    void remainingTimeIsEstimatedAfterTheFirstSeconds();
    void progressIsShownTenTimesASecondAtMost();
    void lastProgressOfManyIsShownInTheEnd();
    void comparisonHasItsOwnEstimate();
    void endIsTheNumberOfFilesRead_data();
    void endIsTheNumberOfFilesRead();
    void endStaysWhileTheMenusAreVisited();
    void toolTipOfTheEndNamesTheFirstTwenty();
    void menuOfTheEndCopiesAllPaths_data();
    void menuOfTheEndCopiesAllPaths();
    void endWithoutFailuresHasNoMenu();
    void resettingEmptiesTheBar_data();
    void resettingEmptiesTheBar();
    void uselessThresholdIsNamedWhenARunStarts_data();
    void uselessThresholdIsNamedWhenARunStarts();
    void thresholdIsLookedAtAgainWhenTheComparisonStarts();
    void refusalKeepsTheNumberOfFilesReadBelowIt();
    void endIsAnnounced();

private:
    QString status() const;
    QString warning() const;
    RunStatus* runStatus() const;
    void readTwoOfThree();
    QStringList readAndFail(int good, int broken);
    QMenu* openMenu(QContextMenuEvent::Reason reason) const;
    QMenu* openMenuByShiftF10() const;

    std::unique_ptr<testmedia::MediaFolder> m_music;
    std::unique_ptr<testmedia::MediaFolder> m_folder;
    std::unique_ptr<testmedia::MediaFolder> m_broken;
    std::unique_ptr<WindowFixture> fixture;
    std::unique_ptr<testmedia::StandardErrorCapture> m_capture;
    qint64 m_nowMs = 0;
};

void TestMainWindowStatus::initTestCase()
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    m_music = std::make_unique<testmedia::MediaFolder>();
    for (unsigned seed = 1; seed <= 3; ++seed) {
        m_music->makeTune(u"%1.wav"_s.arg(seed), {.seed = seed, .seconds = 4});
    }
}

void TestMainWindowStatus::init()
{
    m_capture = std::make_unique<testmedia::StandardErrorCapture>();
    m_folder = std::make_unique<testmedia::MediaFolder>();
    m_broken = std::make_unique<testmedia::MediaFolder>();
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
    m_nowMs = 0;
}

void TestMainWindowStatus::cleanup()
{
    QToolTip::hideText();
    compare::setAvailableMemoryForTests({});
    fixture.reset();
    m_folder.reset();
    m_broken.reset();
    m_capture.reset();
}

QString TestMainWindowStatus::status() const
{
    const auto* label = fixture->find<QLabel>("runStatusLabel");
    return label->isVisible() ? label->text() : u"(hidden)"_s;
}

QString TestMainWindowStatus::warning() const
{
    const auto* label = fixture->find<QLabel>("thresholdLabel");
    return label->isVisible() ? label->text() : QString();
}

RunStatus* TestMainWindowStatus::runStatus() const
{
    return fixture->window().findChild<RunStatus*>();
}

/** Starts a run of which two files are read by a clock that stands still, and the third for ever. */
void TestMainWindowStatus::readTwoOfThree()
{
    runStatus()->setClock([this] { return m_nowMs; });
    writeBrokenFiles(*m_broken, 2);
    m_folder->writeSparse(u"long.sw"_s, {}, kEndlessBytes);
    fixture->listFolder('A', m_broken->path());
    fixture->listFolder('B', m_folder->path());
    QVERIFY(fixture->click("compareButton"));
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"Reading 2 of 3 files"_s, WindowFixture::kHangGuardMs);
}

/** Runs a search of files that cannot be read and of some of the tunes; returns the former. */
QStringList TestMainWindowStatus::readAndFail(int good, int broken)
{
    const QStringList paths = writeBrokenFiles(*m_broken, broken);
    for (int seed = 1; seed <= good; ++seed) {
        const QString name = u"%1.wav"_s.arg(seed);
        QFile::copy(m_music->filePath(name), m_folder->filePath(name));
    }
    // Within a group, the pairs of many would take a while.
    const bool betweenGroups = good > 0 && broken > 0;
    fixture->setMode(betweenGroups ? 0 : 1);
    fixture->listFolder('A', m_broken->path());
    fixture->listFolder(betweenGroups ? 'B' : 'A', m_folder->path());
    if (!fixture->findDuplicates()) {
        QTest::qFail("the search has no end", __FILE__, __LINE__);
    }
    return paths;
}

/** The menu that the status opens, or null. */
QMenu* TestMainWindowStatus::openMenu(QContextMenuEvent::Reason reason) const
{
    auto* label = fixture->find<QLabel>("runStatusLabel");
    QContextMenuEvent event(reason, QPoint(5, 5), label->mapToGlobal(QPoint(5, 5)));
    QApplication::sendEvent(label, &event);
    return label->findChild<QMenu*>();
}

QMenu* TestMainWindowStatus::openMenuByShiftF10() const
{
    auto* label = fixture->find<QLabel>("runStatusLabel");
    label->window()->activateWindow();
    if (!QTest::qWaitForWindowActive(label->window())) {
        return nullptr;
    }
    label->setFocus();
    QTest::keyClick(label, Qt::Key_F10, Qt::ShiftModifier);
    return label->findChild<QMenu*>();
}

void TestMainWindowStatus::listingIsShownFromThePressOn()
{
    QCOMPARE(status(), QString());
    fixture->setMode(1);
    fixture->listFolder('A', m_music->path());
    // The end of the listing is delivered by the event loop.
    fixture->find<QAbstractButton>("compareButton")->click();
    QCOMPARE(status(), u"Looking for audio files"_s);
}

void TestMainWindowStatus::readFilesAreCountedInTheUsersForm()
{
    writeBrokenFiles(*m_broken, 1204);
    m_folder->writeSparse(u"long.sw"_s, {}, kEndlessBytes);
    fixture->listFolder('A', m_broken->path());
    fixture->listFolder('B', m_folder->path());
    runStatus()->setClock([] { return 0; });
    QVERIFY(fixture->click("compareButton"));
    QTRY_COMPARE_WITH_TIMEOUT(status(), u"Reading 1,204 of 1,205 files"_s,
                              WindowFixture::kHangGuardMs);
}

void TestMainWindowStatus::remainingTimeIsEstimatedAfterTheFirstSeconds()
{
    readTwoOfThree();
    m_nowMs = remainingTime::kFirstEstimateMs - 1;
    fixture->window().fpValueChanged(0);
    QCOMPARE(status(), u"Reading 2 of 3 files"_s);
    m_nowMs = 28 * kMinuteMs;
    fixture->window().fpValueChanged(0);
    QCOMPARE(status(), u"Reading 2 of 3 files, about 14 minutes left"_s);
    // Steady: half a minute more changes nothing.
    m_nowMs += kMinuteMs;
    fixture->window().fpValueChanged(0);
    QCOMPARE(status(), u"Reading 2 of 3 files, about 14 minutes left"_s);
    m_nowMs = 40 * kMinuteMs;
    fixture->window().fpValueChanged(0);
    QCOMPARE(status(), u"Reading 2 of 3 files, about 20 minutes left"_s);
}

void TestMainWindowStatus::progressIsShownTenTimesASecondAtMost()
{
    readTwoOfThree();
    QStringList seen;
    for (int i = 1; i <= 200; ++i) {
        m_nowMs += 10;
        runStatus()->reading(i, 1000);
        if (seen.isEmpty() || seen.constLast() != status()) {
            seen.append(status());
        }
    }
    QCOMPARE(seen.size(), 20 + 1); // the one from before, then one each 100 ms
    QCOMPARE(seen.value(1), u"Reading 10 of 1,000 files"_s);
    QCOMPARE(seen.constLast(), u"Reading 200 of 1,000 files"_s);
}

void TestMainWindowStatus::lastProgressOfManyIsShownInTheEnd()
{
    readTwoOfThree();
    m_nowMs += 1000;
    for (int i = 3; i <= 9; ++i) {
        runStatus()->reading(i, 10);
    }
    QCOMPARE(status(), u"Reading 3 of 10 files"_s);
    QTRY_COMPARE(status(), u"Reading 9 of 10 files"_s);
}

void TestMainWindowStatus::comparisonHasItsOwnEstimate()
{
    readTwoOfThree();
    m_nowMs = 28 * kMinuteMs;
    fixture->window().fpValueChanged(0);
    QCOMPARE(status(), u"Reading 2 of 3 files, about 14 minutes left"_s);
    runStatus()->comparing(0, 100);
    QCOMPARE(status(), u"Comparing"_s);
    m_nowMs += 2 * kMinuteMs;
    runStatus()->comparing(50, 100);
    QCOMPARE(status(), u"Comparing, about 2 minutes left"_s);
    // What is late of the stage before is over.
    m_nowMs += kMinuteMs;
    fixture->window().fpValueChanged(0);
    QCOMPARE(status(), u"Comparing, about 2 minutes left"_s);
}

void TestMainWindowStatus::endIsTheNumberOfFilesRead_data()
{
    QTest::addColumn<int>("good");
    QTest::addColumn<int>("broken");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << 0 << 0 << u"No files read"_s;
    QTest::newRow("one") << 1 << 0 << u"1 file read"_s;
    QTest::newRow("one that fails") << 0 << 1 << u"1 file read, it gave no fingerprint"_s;
    QTest::newRow("two") << 2 << 0 << u"2 files read"_s;
    QTest::newRow("two of which one fails")
        << 1 << 1 << u"2 files read, 1 of them gave no fingerprint"_s;
    QTest::newRow("many of which many fail")
        << 2 << 1200 << u"1,202 files read, 1,200 of them gave no fingerprint"_s;
}

void TestMainWindowStatus::endIsTheNumberOfFilesRead()
{
    QFETCH(int, good);
    QFETCH(int, broken);
    readAndFail(good, broken);
    QTEST(status(), "text");
}

void TestMainWindowStatus::endStaysWhileTheMenusAreVisited()
{
    readAndFail(2, 0);
    // What the menus send for an entry without an explanation.
    QStatusTipEvent tip{QString()};
    QApplication::sendEvent(&fixture->window(), &tip);
    QCOMPARE(status(), u"2 files read"_s);
}

void TestMainWindowStatus::toolTipOfTheEndNamesTheFirstTwenty()
{
    const QStringList failed = readAndFail(1, 25);
    auto* label = fixture->find<QLabel>("runStatusLabel");
    const auto toolTip = [label] {
        QHelpEvent event(QEvent::ToolTip, QPoint(5, 5), label->mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(label, &event);
        return QToolTip::text();
    };
    const QString text = toolTip();
    QCOMPARE(text.count(u".wav"_s), 20);
    const QString expected = failed.mid(0, 20).join(u'\n') + u"\nand 5 more<"_s;
    QVERIFY2(text.contains(expected), qPrintable(text));
}

void TestMainWindowStatus::menuOfTheEndCopiesAllPaths_data()
{
    QTest::addColumn<int>("reason");
    QTest::newRow("mouse") << int(QContextMenuEvent::Mouse);
    QTest::newRow("menu key") << int(QContextMenuEvent::Keyboard);
    QTest::newRow("Shift+F10") << -1;
}

void TestMainWindowStatus::menuOfTheEndCopiesAllPaths()
{
    QFETCH(int, reason);
    const QStringList failed = readAndFail(1, 25);
    QVERIFY(fixture->find<QLabel>("runStatusLabel")->focusPolicy() & Qt::TabFocus);
    QMenu* menu = reason < 0 ? openMenuByShiftF10() : openMenu(QContextMenuEvent::Reason(reason));
    QVERIFY(menu != nullptr && menu->isVisible());
    QCOMPARE(menu->actions().size(), 1);
    QCOMPARE(menu->actions().constFirst()->text(), u"Copy paths"_s);
    QTest::keyClick(menu, Qt::Key_Down);
    QTest::keyClick(menu, Qt::Key_Return);
    QCOMPARE(QApplication::clipboard()->text().split(u'\n'), failed);
}

void TestMainWindowStatus::endWithoutFailuresHasNoMenu()
{
    readAndFail(2, 0);
    QVERIFY(openMenu(QContextMenuEvent::Mouse) == nullptr);
    QCOMPARE(fixture->find<QLabel>("runStatusLabel")->focusPolicy(), Qt::NoFocus);
}

void TestMainWindowStatus::resettingEmptiesTheBar_data()
{
    QTest::addColumn<QString>("how");
    for (const char* how : {"new comparison", "mode", "find without folders"}) {
        QTest::newRow(how) << QString::fromLatin1(how);
    }
}

void TestMainWindowStatus::resettingEmptiesTheBar()
{
    QFETCH(QString, how);
    settings::write({0, true});
    readAndFail(1, 1);
    QVERIFY(!status().isEmpty());
    QVERIFY(!warning().isEmpty());
    if (how == u"new comparison"_s) {
        fixture->choose("actionNew_Comparison");
    } else if (how == u"mode"_s) {
        fixture->setMode(1);
    } else {
        fixture->find<QListWidget>("folderListGroupA")->clear();
        QVERIFY(fixture->click("compareButton"));
    }
    QCOMPARE(status(), QString());
    QCOMPARE(warning(), QString());
    QVERIFY(openMenu(QContextMenuEvent::Mouse) == nullptr);
    QCOMPARE(fixture->find<QLabel>("runStatusLabel")->focusPolicy(), Qt::NoFocus);
}

void TestMainWindowStatus::uselessThresholdIsNamedWhenARunStarts_data()
{
    QTest::addColumn<int>("threshold");
    QTest::addColumn<QString>("text");
    const QString everything = u"Threshold %1: every file counts as a duplicate of every other"_s;
    const QString nothing = u"Threshold %1: no file can be similar enough"_s;
    QTest::newRow("-1") << -1 << everything.arg(-1);
    QTest::newRow("0") << 0 << everything.arg(0);
    QTest::newRow("1") << 1 << QString();
    QTest::newRow("100") << 100 << QString();
    QTest::newRow("101") << 101 << nothing.arg(101);
}

void TestMainWindowStatus::uselessThresholdIsNamedWhenARunStarts()
{
    QFETCH(int, threshold);
    settings::write({threshold, true});
    QCOMPARE(warning(), QString());
    fixture->setMode(1);
    fixture->listFolder('A', m_music->path());
    fixture->find<QAbstractButton>("compareButton")->click();
    QTEST(warning(), "text");
    QCOMPARE(status(), u"Looking for audio files"_s);
    QVERIFY(fixture->waitForResult());
    QTEST(warning(), "text");
    QCOMPARE(status(), u"3 files read"_s);
}

void TestMainWindowStatus::thresholdIsLookedAtAgainWhenTheComparisonStarts()
{
    settings::write({0, true});
    fixture->setMode(1);
    fixture->listFolder('A', m_music->path());
    fixture->find<QAbstractButton>("compareButton")->click();
    QVERIFY(!warning().isEmpty());
    settings::write({70, true});
    QVERIFY(fixture->waitForResult());
    QCOMPARE(warning(), QString());
}

void TestMainWindowStatus::refusalKeepsTheNumberOfFilesReadBelowIt()
{
    compare::setAvailableMemoryForTests(0);
    fixture->setMode(1);
    writeBrokenFiles(*m_folder, 2);
    fixture->listFolder('A', m_folder->path());
    QVERIFY(fixture->click("compareButton"));
    auto* bar = fixture->find<QStatusBar>("statusbar");
    QTRY_VERIFY_WITH_TIMEOUT(!bar->currentMessage().isEmpty(), WindowFixture::kHangGuardMs);
    QCOMPARE(status(), u"(hidden)"_s);
    bar->clearMessage();
    QCOMPARE(status(), u"2 files read, 2 of them gave no fingerprint"_s);
}

void TestMainWindowStatus::endIsAnnounced()
{
    settings::write({0, true});
    const QSignalSpy announced(runStatus(), &RunStatus::announced);
    events.clear();
    const auto previous = QAccessible::installUpdateHandler(&recordAnnouncement);
    readAndFail(2, 1);
    QAccessible::installUpdateHandler(previous);
    const QString end =
        u"2 duplicate audio files found. 3 files read, 1 of them gave no fingerprint. "
        "Threshold 0: every file counts as a duplicate of every other."_s;
    QCOMPARE(announced.size(), 1);
    QCOMPARE(announced.constFirst().constFirst().toString(), end);
    // Only a platform with a bridge to screen readers, not the one without a screen, passes it on.
    if (QAccessible::isActive()) {
        QCOMPARE(events, QStringList(end));
    }
    auto* label = fixture->find<QLabel>("runStatusLabel");
    const QAccessibleInterface* status = QAccessible::queryAccessibleInterface(label);
    QCOMPARE(status->text(QAccessible::Name), end);
    // A notification is what screen readers read aloud without an announcement.
    const bool announcements = QT_VERSION >= QT_VERSION_CHECK(6, 8, 0);
    QCOMPARE(status->role(), announcements ? QAccessible::StaticText : QAccessible::Notification);
    fixture->choose("actionNew_Comparison");
    QCOMPARE(label->accessibleName(), QString());
}

QTEST_MAIN(TestMainWindowStatus)
#include "tst_mainwindow_status.moc"
