#include "dialogfixture.h"
#include "filefixture.h"
#include "slowdisk.h"
#include "support/timers.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

namespace {

constexpr int kGuardMs = 60'000;
constexpr int kRounds = 60;
constexpr quint32 kSeed = 20240517;

constexpr std::chrono::milliseconds kFlush(20);
/** The file in progress, and those that a busy machine lets begin between counting and closing. */
constexpr int kBegunMeanwhile = 10;

} // namespace

/** Closing and destroying the dialog while it works: the file in progress is finished, no other. */
class DeleteDialogClosingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void destructionStopsADeleteAndLeavesTheRest();
    void destructionStopsACopyAfterTheFileInProgress();
    void destructionIsAsPromptAfterManyQuickFiles();
    void destructionStopsAMoveAndEveryFileIsWhole();
    void destructionStopsTheOperationBehindTheFirst();
    void closingButtonsAloneStopNothing_data();
    void closingButtonsAloneStopNothing();
    void dialogReleasedOnFinishedStopsItsOperation_data();
    void dialogReleasedOnFinishedStopsItsOperation();
    void destructionAtAnyMomentIsSafe();
    void destructionAfterTheResultIsSafe();
    void destructionAfterManyOperationsIsSafe();

private:
    QString path(const QString& name) const
    {
        return m_folder->filePath(name);
    }
    QString source() const
    {
        return path(u"source"_s);
    }
    QString target() const
    {
        return path(u"target"_s);
    }
    QStringList makeFiles(int count, const QByteArray& content) const;
    static void waitUntilFilled(const QString& directory);
    /** Nothing of the operation goes on behind the dialog's back. */
    static void verifyQuiet(const QString& directory);

    std::unique_ptr<filefixture::OpenFolder> m_folder;
};

void DeleteDialogClosingTest::init()
{
    m_folder = std::make_unique<filefixture::OpenFolder>();
    QVERIFY(QDir().mkpath(source()));
    QVERIFY(QDir().mkpath(target()));
}

void DeleteDialogClosingTest::cleanup()
{
    m_folder.reset();
}

QStringList DeleteDialogClosingTest::makeFiles(int count, const QByteArray& content) const
{
    QStringList paths;
    for (int i = 1; i <= count; ++i) {
        paths.append(source() + QStringLiteral("/%1.mp3").arg(i));
        if (!write(paths.constLast(), content)) {
            qFatal("cannot write %s", qPrintable(paths.constLast()));
        }
    }
    return paths;
}

void DeleteDialogClosingTest::waitUntilFilled(const QString& directory)
{
    QElapsedTimer guard;
    guard.start();
    while (entries(directory).isEmpty()) {
        QVERIFY(guard.elapsed() < kGuardMs);
        QCoreApplication::processEvents();
    }
}

void DeleteDialogClosingTest::verifyQuiet(const QString& directory)
{
    const QStringList before = entries(directory);
    for (int i = 0; i < 20; ++i) {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QCOMPARE(entries(directory), before);
}

void DeleteDialogClosingTest::destructionStopsADeleteAndLeavesTheRest()
{
    constexpr int count = 1'000;
    const QStringList paths = makeFiles(count, "x");
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(paths);
    const SlowDisk disk;
    fixture.start();
    QElapsedTimer guard;
    guard.start();
    while (QFile::exists(paths.constFirst())) {
        QVERIFY(guard.elapsed() < kGuardMs);
    }
    fixture.take().reset();
    const qsizetype left = entries(source()).size();
    QVERIFY2(left > 0 && left < count, qPrintable(QString::number(left)));
    // In the order of the rows: what is left is the end of the list.
    for (qsizetype i = 0; i < count; ++i) {
        QCOMPARE(QFile::exists(paths.at(i)), i >= count - left);
    }
    verifyQuiet(source());
}

void DeleteDialogClosingTest::destructionStopsACopyAfterTheFileInProgress()
{
    constexpr int count = 150;
    const QByteArray content = filefixture::noise(500'000);
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(count, content));
    fixture.directory()->setText(target());
    const SlowDisk disk(kFlush);
    fixture.start();
    waitUntilFilled(target());

    const qsizetype before = entries(target()).size();
    fixture.take().reset();
    const qsizetype after = entries(target()).size();
    QVERIFY2(after <= before + kBegunMeanwhile,
             qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
    for (const QString& name : entries(target())) {
        QCOMPARE(read(target() + u'/' + name), content);
    }
    QCOMPARE(entries(source()).size(), count);
    verifyQuiet(target());
}

void DeleteDialogClosingTest::destructionIsAsPromptAfterManyQuickFiles()
{
    // While files are quick the framework hands them out in ever larger blocks, and it does not
    // look at a cancellation within a block.
    QStringList paths;
    for (int i = 0; i < 10'000; ++i) {
        paths.append(source() + QStringLiteral("/absent%1.mp3").arg(i));
    }
    constexpr int count = 150;
    paths.append(makeFiles(count, filefixture::noise(500'000)));
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(paths);
    fixture.directory()->setText(target());
    const SlowDisk disk(kFlush);
    fixture.start();
    waitUntilFilled(target());

    const qsizetype before = entries(target()).size();
    fixture.take().reset();
    const qsizetype after = entries(target()).size();
    QVERIFY2(after <= before + kBegunMeanwhile,
             qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
    verifyQuiet(target());
}

void DeleteDialogClosingTest::destructionStopsAMoveAndEveryFileIsWhole()
{
    const filefixture::SecondFileSystem other;
    if (!other.isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    constexpr int count = 400;
    const QByteArray content = filefixture::noise(500'000);
    DialogFixture fixture(u"move"_s);
    fixture.addFiles(makeFiles(count, content));
    fixture.directory()->setText(other.path());
    const SlowDisk disk;
    fixture.start();
    waitUntilFilled(other.path());
    fixture.take().reset();

    const QStringList moved = entries(other.path());
    const QStringList left = entries(source());
    QVERIFY(!left.isEmpty());
    QCOMPARE(moved.size() + left.size(), count);
    for (const QString& name : moved) {
        QCOMPARE(read(other.filePath(name)), content);
    }
    for (const QString& name : left) {
        QCOMPARE(read(source() + u'/' + name), content);
    }
    verifyQuiet(source());
}

void DeleteDialogClosingTest::destructionStopsTheOperationBehindTheFirst()
{
    constexpr int count = 120;
    QVERIFY(QDir().mkpath(path(u"second"_s)));
    QVERIFY(QDir().mkpath(path(u"third"_s)));
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(count, filefixture::noise(500'000)));
    const SlowDisk disk;
    for (const QString& directory : {target(), path(u"second"_s), path(u"third"_s)}) {
        fixture.directory()->setText(directory);
        fixture.start();
    }
    waitUntilFilled(target());
    fixture.take().reset();
    QVERIFY(entries(target()).size() < count);
    QCOMPARE(entries(path(u"second"_s)), QStringList());
    QCOMPARE(entries(path(u"third"_s)), QStringList());
    verifyQuiet(target());
}

void DeleteDialogClosingTest::closingButtonsAloneStopNothing_data()
{
    QTest::addColumn<QString>("button");
    QTest::newRow("ok") << u"okButton"_s;
    QTest::newRow("cancel") << u"cancelButton"_s;
}

void DeleteDialogClosingTest::closingButtonsAloneStopNothing()
{
    QFETCH(const QString, button);
    constexpr int count = 50;
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(count, filefixture::noise(100'000)));
    fixture.directory()->setText(target());
    fixture.start();
    fixture.click(button);
    QVERIFY(fixture.dialog()->isHidden());
    QTRY_COMPARE_WITH_TIMEOUT(fixture.countLabel(), u"50 files copied"_s, kGuardMs);
    QCOMPARE(entries(target()).size(), count);
}

void DeleteDialogClosingTest::dialogReleasedOnFinishedStopsItsOperation_data()
{
    QTest::addColumn<QString>("way");
    QTest::newRow("ok") << u"okButton"_s;
    QTest::newRow("cancel") << u"cancelButton"_s;
    QTest::newRow("frame") << u"frame"_s;
    QTest::newRow("escape") << u"escape"_s;
}

void DeleteDialogClosingTest::dialogReleasedOnFinishedStopsItsOperation()
{
    QFETCH(const QString, way);
    constexpr int count = 150;
    DialogFixture fixture(u"copy"_s);
    fixture.addFiles(makeFiles(count, filefixture::noise(500'000)));
    fixture.directory()->setText(target());
    const SlowDisk disk;
    fixture.start();
    waitUntilFilled(target());
    if (way == u"frame") {
        fixture.dialog()->close();
    } else if (way == u"escape") {
        QTest::keyClick(fixture.dialog(), Qt::Key_Escape);
    } else {
        fixture.click(way);
    }
    // What the opener does on finished().
    const QPointer<deleteDialog> dialog = fixture.take().release();
    QVERIFY(dialog->isHidden());
    dialog->deleteLater();
    QTRY_VERIFY_WITH_TIMEOUT(dialog.isNull(), kGuardMs);
    QVERIFY(entries(target()).size() < count);
    verifyQuiet(target());
}

void DeleteDialogClosingTest::destructionAtAnyMomentIsSafe()
{
    QRandomGenerator random(kSeed);
    const QByteArray content = filefixture::noise(2'000);
    for (int round = 0; round < kRounds; ++round) {
        init();
        const QStringList operations = {u"delete"_s, u"move"_s, u"copy"_s};
        const QStringList paths = makeFiles(40, content);
        DialogFixture fixture(operations.at(round % 3));
        fixture.addFiles(paths);
        fixture.directory()->setText(target());
        fixture.start();
        if (random.bounded(2) == 0) {
            fixture.start();
        }
        QElapsedTimer timer;
        timer.start();
        const qint64 lifeNs = random.bounded(4'000'000);
        while (timer.nsecsElapsed() < lifeNs) {
            if (random.bounded(8) == 0) {
                QCoreApplication::processEvents();
            }
        }
        fixture.take().reset();
        for (const QString& directory : {source(), target()}) {
            for (const QString& name : entries(directory)) {
                QCOMPARE(read(directory + u'/' + name), content);
            }
        }
        if (round % 3 == 1) {
            QCOMPARE(entries(source()).size() + entries(target()).size(), paths.size());
        }
        QCoreApplication::processEvents();
    }
}

void DeleteDialogClosingTest::destructionAfterTheResultIsSafe()
{
    support::fireSingleShots(1000); // those of dialogs that are gone
    // The timer that hides the progress bar after a second is still running.
    DialogFixture fixture(u"delete"_s);
    fixture.addFiles(makeFiles(3, "x"));
    fixture.start();
    QTRY_COMPARE_WITH_TIMEOUT(fixture.countLabel(), u"3 files deleted"_s, kGuardMs);
    fixture.take().reset();
    QCOMPARE(support::fireSingleShots(1000), 1);
}

void DeleteDialogClosingTest::destructionAfterManyOperationsIsSafe()
{
    for (int round = 0; round < kRounds; ++round) {
        DialogFixture fixture(u"copy"_s);
        fixture.addFiles({source() + u"/absent.mp3"_s});
        fixture.directory()->setText(target());
        for (int i = 0; i < 4; ++i) {
            fixture.start();
            if (i % 2 == 0) {
                fixture.waitForIdle();
            }
        }
        if (round % 2 == 0) {
            QTRY_COMPARE_WITH_TIMEOUT(fixture.countLabel(), u"0 files copied"_s, kGuardMs);
            fixture.waitForIdle();
        }
    }
}

QTEST_MAIN(DeleteDialogClosingTest)
#include "tst_deletedialog_closing.moc"
