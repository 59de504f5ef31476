#include "fileops/filefixture.h"
#include "settings/settingsdialog.h"
#include "settings/settingsstore.h"
#include "support/media.h"
#include "support/windowfixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QThreadPool>

#include <sys/stat.h>
#include <unistd.h>

/**
 * Settings stores in every state that they can be found in: the window opens, a run takes what can
 * be read for what it says, and nothing that was there is written over.
 */
class TestMainWindowDamagedStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void runTakesTheStoreForWhatItSays_data();
    void runTakesTheStoreForWhatItSays();
    void valuesThatAreThereAreNeverWrittenOver_data();
    void valuesThatAreThereAreNeverWrittenOver();
    void dialogShowsWhatCanBeReadAndSavesOverIt();
    void readOnlyStoreIsUsedAndStaysAsItIs();
    void storeThatCannotBeMadeListsEveryPairOnOneThread();
    void folderInThePlaceOfTheStoreListsEveryPairOnOneThread();

private:
    QString storePath() const;
    void writeStore(const QByteArray& content) const;
    void protectStore() const;
    qsizetype pairsFound() const;

    testmedia::MediaFolder music;
    std::unique_ptr<WindowFixture> fixture;
};

namespace {

/** One file is compared with two others, one of which sounds alike. */
constexpr qsizetype kAlike = 1;
constexpr qsizetype kEveryPair = 2;

void addStores()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<qsizetype>("pairs");
    QTest::addColumn<bool>("allThreads");
    const auto row = [](const char* name, const QByteArray& content, qsizetype pairs,
                        bool allThreads = true) {
        QTest::newRow(name) << content << pairs << allThreads;
    };
    const auto similarity = [&row](const char* name, const QByteArray& value, qsizetype pairs) {
        row(name, "[General]\nmulticore=true\nsimilarity=" + value + "\n", pairs);
    };
    const auto multicore = [&row](const char* name, const QByteArray& value, bool allThreads) {
        row(name, "[General]\nmulticore=" + value + "\nsimilarity=70\n", kAlike, allThreads);
    };
    row("zero length", "", kAlike);
    row("null bytes", QByteArray(4096, '\0'), kAlike);
    row("another kind of file", QByteArray::fromHex("7F454C4602010100FFFE0A000D0A1A"), kAlike);
    row("cut off in the section", "[Gener", kAlike);
    row("cut off in a key", "[General]\nmulticore=false\nsimil", kAlike, false);
    row("cut off behind a value", "[General]\nmulticore=false\nsimilarity=101", 0, false);
    row("section that is not closed", "[General\nmulticore=false\nsimilarity=101\n", 0, false);
    row("values between garbage",
        "\xFF\xFE garbage\nmulticore=false\n=\n\x01\x02\nsimilarity=101\n]]\n", 0, false);
    row("similarity only", "[General]\nsimilarity=101\n", 0);
    row("multicore only", "[General]\nmulticore=false\n", kAlike, false);
    similarity("similarity as text", "seventy", kEveryPair);
    similarity("similarity as nothing", "", kEveryPair);
    similarity("similarity as a fraction", "70.5", kEveryPair);
    similarity("similarity as a list", "70, 80", kEveryPair);
    similarity("similarity as a picture", R"(@Variant(\0\0\0\x46\0\0\0\x1\x89PNG))", kEveryPair);
    similarity("similarity of an unknown type", R"(@Variant(\x7f\xff\xff\xff))", kEveryPair);
    similarity("negative similarity", "-5", kEveryPair);
    similarity("least similarity", "-2147483648", kEveryPair);
    similarity("similarity above one hundred", "101", 0);
    similarity("largest similarity", "2147483647", 0);
    similarity("huge similarity", "99999999999999999999", kEveryPair);
    multicore("multicore as garbage", "garb\xC3\xA4ge", true);
    multicore("multicore as nothing", "", false);
    multicore("multicore as zero", "0", false);
    multicore("multicore as a number", "-17", true);
    multicore("multicore in capitals", "FALSE", false);
    multicore("multicore as a rectangle", "@Rect(0 0 1 1)", false);
}

QString value(const char* key)
{
    return QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel"))
        .value(QString::fromLatin1(key))
        .toString();
}

bool contains(const char* key)
{
    return QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel"))
        .contains(QString::fromLatin1(key));
}

} // namespace

void TestMainWindowDamagedStore::initTestCase()
{
    const auto wave = [](unsigned seed) {
        return testmedia::wavFile(
            testmedia::samplesOf(
                {.seed = seed, .seconds = 5.0, .sampleRateHz = 11025, .channels = 1}),
            11025, 1);
    };
    music.write(QStringLiteral("a/one.wav"), wave(1));
    music.write(QStringLiteral("b/one again.wav"), wave(1));
    music.write(QStringLiteral("b/two.wav"), wave(2));
    for (const char* folder : {"", "/a", "/b"}) {
        QVERIFY(chmod((QFile::encodeName(music.path()) + folder).constData(), 0755) == 0);
    }
}

void TestMainWindowDamagedStore::init()
{
    fixture = std::make_unique<WindowFixture>();
}

void TestMainWindowDamagedStore::cleanup()
{
    // What a test has protected could not be removed.
    if (geteuid() != 0) {
        for (const QString& path :
             {QFileInfo(QFileInfo(storePath()).path()).path(), QFileInfo(storePath()).path()}) {
            chmod(QFile::encodeName(path).constData(), 0755);
        }
    }
    fixture.reset();
}

QString TestMainWindowDamagedStore::storePath() const
{
    return QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel")).fileName();
}

void TestMainWindowDamagedStore::writeStore(const QByteArray& content) const
{
    QVERIFY(QDir().mkpath(QFileInfo(storePath()).path()));
    QVERIFY(filefixture::write(storePath(), content));
}

/** Lets an ordinary user read the store, and nothing else. */
void TestMainWindowDamagedStore::protectStore() const
{
    const QString folder = QFileInfo(storePath()).path();
    QVERIFY(QDir().mkpath(folder));
    if (QFileInfo(storePath()).isFile()) {
        QVERIFY(chmod(QFile::encodeName(storePath()).constData(), 0444) == 0);
    }
    QVERIFY(chmod(QFile::encodeName(folder).constData(), 0555) == 0);
    QVERIFY(chmod(QFile::encodeName(QFileInfo(folder).path()).constData(), 0555) == 0);
}

/** Opens the window, compares the files and counts the pairs. */
qsizetype TestMainWindowDamagedStore::pairsFound() const
{
    fixture->open();
    fixture->listFolder('A', music.filePath(QStringLiteral("a")));
    fixture->listFolder('B', music.filePath(QStringLiteral("b")));
    return fixture->findDuplicates() ? fixture->unorderedPairs(music.path()).size() : -1;
}

void TestMainWindowDamagedStore::runTakesTheStoreForWhatItSays_data()
{
    addStores();
}

void TestMainWindowDamagedStore::runTakesTheStoreForWhatItSays()
{
    QFETCH(const QByteArray, content);
    QFETCH(const qsizetype, pairs);
    QFETCH(const bool, allThreads);
    writeStore(content);
    QCOMPARE(pairsFound(), pairs);
    QCOMPARE(fixture->pool()->maxThreadCount(), allThreads ? QThread::idealThreadCount() : 1);
}

void TestMainWindowDamagedStore::valuesThatAreThereAreNeverWrittenOver_data()
{
    addStores();
}

void TestMainWindowDamagedStore::valuesThatAreThereAreNeverWrittenOver()
{
    QFETCH(const QByteArray, content);
    writeStore(content);
    const bool hasSimilarity = contains("similarity");
    const bool hasMulticore = contains("multicore");
    const QString similarity = hasSimilarity ? value("similarity") : QStringLiteral("70");
    const QString multicore = hasMulticore ? value("multicore") : QStringLiteral("true");
    fixture->open();
    fixture->destroy();
    QCOMPARE(value("similarity"), similarity);
    QCOMPARE(value("multicore"), multicore);
    if (hasSimilarity && hasMulticore) {
        QCOMPARE(filefixture::read(storePath()), content);
    }
}

void TestMainWindowDamagedStore::dialogShowsWhatCanBeReadAndSavesOverIt()
{
    writeStore("[General]\nmulticore=garbage\nsimilarity=seventy\n");
    fixture->open();
    SettingsDialog dialog;
    dialog.show();
    QCOMPARE(dialog.findChild<QLineEdit*>()->text(), QStringLiteral("0"));
    QVERIFY(dialog.findChild<QCheckBox*>()->isChecked());
    QTest::mouseClick(dialog.findChild<QPushButton*>(QStringLiteral("saveButton")), Qt::LeftButton);
    QCOMPARE(value("similarity"), QStringLiteral("0"));
    QCOMPARE(value("multicore"), QStringLiteral("true"));
}

void TestMainWindowDamagedStore::readOnlyStoreIsUsedAndStaysAsItIs()
{
    const QByteArray content = "[General]\nsimilarity=101\n"; // one value is missing
    writeStore(content);
    protectStore();
    const filefixture::OrdinaryUser user;
    QCOMPARE(pairsFound(), qsizetype{0});
    settings::write({5, true});
    QCOMPARE(filefixture::read(storePath()), content);
    fixture->destroy();
}

void TestMainWindowDamagedStore::storeThatCannotBeMadeListsEveryPairOnOneThread()
{
    protectStore();
    const filefixture::OrdinaryUser user;
    QCOMPARE(pairsFound(), kEveryPair);
    QCOMPARE(fixture->pool()->maxThreadCount(), 1);
    QVERIFY(!QFileInfo::exists(storePath()));
    fixture->destroy();
}

void TestMainWindowDamagedStore::folderInThePlaceOfTheStoreListsEveryPairOnOneThread()
{
    QVERIFY(QDir().mkpath(storePath()));
    QCOMPARE(pairsFound(), kEveryPair);
    QCOMPARE(fixture->pool()->maxThreadCount(), 1);
    QVERIFY(QFileInfo(storePath()).isDir());
}

QTEST_MAIN(TestMainWindowDamagedStore)
#include "tst_mainwindow_damagedstore.moc"
