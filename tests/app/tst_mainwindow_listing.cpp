#include "support/media.h"
#include "support/standardstreams.h"
#include "support/windowfixture.h"

#include <QFile>
#include <QProgressBar>
#include <QTest>

namespace {

/** Raw 16-bit samples for more than a day, which take no room on the disk. */
constexpr qint64 kEndlessBytes = qint64(8) << 30;

} // namespace

/** Which files a run takes, out of the folders that are listed. */
class TestMainWindowListing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void secondPressStartsAgainFromTheListing();
    void withinGroupLeavesOutWhatGroupBLists();
    void folderInBothGroupsIsFingerprintedOnce();
    void repeatedAndNestedFoldersCountOnce();
    void pathsThatDifferInLetterCaseAreTwoFiles_data();
    void pathsThatDifferInLetterCaseAreTwoFiles();

private:
    testmedia::MediaFolder m_tunes;
    QString m_first;
    QString m_second;
    std::unique_ptr<WindowFixture> fixture;
};

void TestMainWindowListing::initTestCase()
{
    testmedia::Tune tune;
    tune.seconds = 6;
    tune.seed = 1;
    m_first = m_tunes.makeTune(QStringLiteral("first.wav"), tune);
    tune.seed = 2;
    m_second = m_tunes.makeTune(QStringLiteral("second.wav"), tune);
}

void TestMainWindowListing::init()
{
    fixture = std::make_unique<WindowFixture>();
    fixture->open();
}

void TestMainWindowListing::cleanup()
{
    fixture.reset();
}

void TestMainWindowListing::secondPressStartsAgainFromTheListing()
{
    const testmedia::MediaFolder folder;
    QVERIFY(QFile::copy(m_first, folder.filePath(QStringLiteral("a/1.wav"))));
    const QString endless = folder.writeSparse(QStringLiteral("b/long.sw"), {}, kEndlessBytes);
    fixture->listFolder('A', folder.path() + QStringLiteral("/a"));
    fixture->listFolder('B', folder.path() + QStringLiteral("/b"));
    QVERIFY(fixture->click("compareButton"));
    QTRY_COMPARE_WITH_TIMEOUT(fixture->find<QProgressBar>("progressBar")->value(), 40,
                              WindowFixture::kHangGuardMs);
    // What the first run has listed is gone, and there is something new.
    QVERIFY(QFile::remove(endless));
    QVERIFY(QFile::copy(m_first, folder.filePath(QStringLiteral("b/2.wav"))));
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->unorderedPairs(folder.path()),
             QStringList{QStringLiteral("/a/1.wav = /b/2.wav")});
}

void TestMainWindowListing::withinGroupLeavesOutWhatGroupBLists()
{
    const testmedia::MediaFolder b;
    QVERIFY(QFile::copy(m_first, b.filePath(QStringLiteral("copy.wav"))));
    fixture->setMode(1);
    fixture->listFolder('A', m_tunes.path());
    fixture->listFolder('B', b.path());
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->countText(), QStringLiteral("No duplicate audio files found."));
}

void TestMainWindowListing::folderInBothGroupsIsFingerprintedOnce()
{
    const testmedia::MediaFolder both;
    both.write(QStringLiteral("broken.wav"), "not music");
    const testmedia::MediaFolder onlyB;
    onlyB.write(QStringLiteral("broken too.wav"), "not music");
    fixture->listFolder('A', both.path());
    fixture->listFolder('B', both.path());
    fixture->listFolder('B', onlyB.path());
    testmedia::StandardErrorCapture capture;
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(capture.take().count("ERROR: "), 2);
}

void TestMainWindowListing::repeatedAndNestedFoldersCountOnce()
{
    const testmedia::MediaFolder folder;
    QVERIFY(QFile::copy(m_first, folder.filePath(QStringLiteral("1.wav"))));
    QVERIFY(QFile::copy(m_first, folder.filePath(QStringLiteral("below/2.wav"))));
    fixture->setMode(1);
    fixture->listFolder('A', folder.path());
    fixture->listFolder('A', folder.filePath(QStringLiteral("below")));
    fixture->listFolder('A', folder.path());
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->unorderedPairs(folder.path()),
             QStringList{QStringLiteral("/1.wav = /below/2.wav")});
}

void TestMainWindowListing::pathsThatDifferInLetterCaseAreTwoFiles_data()
{
    QTest::addColumn<int>("mode");
    QTest::newRow("between groups") << 0;
    QTest::newRow("within group") << 1;
}

void TestMainWindowListing::pathsThatDifferInLetterCaseAreTwoFiles()
{
    QFETCH(int, mode);
    const testmedia::MediaFolder folder;
    QVERIFY(QFile::copy(m_first, folder.filePath(QStringLiteral("music/song.wav"))));
    if (QFile::exists(folder.path() + QStringLiteral("/Music"))) {
        QSKIP("the file system does not distinguish them");
    }
    QVERIFY(QFile::copy(m_first, folder.filePath(QStringLiteral("Music/song.wav"))));
    fixture->setMode(mode);
    fixture->listFolder('A', folder.path() + QStringLiteral("/music"));
    fixture->listFolder(mode == 0 ? 'B' : 'A', folder.path() + QStringLiteral("/Music"));
    QVERIFY(fixture->findDuplicates());
    QCOMPARE(fixture->unorderedPairs(folder.path()),
             QStringList{QStringLiteral("/Music/song.wav = /music/song.wav")});
}

QTEST_MAIN(TestMainWindowListing)
#include "tst_mainwindow_listing.moc"
