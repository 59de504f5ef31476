#include "faults.h"
#include "fingerprint/ffmpegaudioreader.h"
#include "reading.h"
#include "support/media.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using reading::Fingerprinted;
using reading::fingerprinted;
using testmedia::MediaFolder;

/** Files that shrink, vanish or become something else while they are read. */
class TestChangingFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void fileThatShrinksGivesTheFingerprintOfAPart_data();
    void fileThatShrinksGivesTheFingerprintOfAPart();
    void fileThatMetADiskErrorIsPartial_data();
    void fileThatMetADiskErrorIsPartial();
    void fileThatIsRemovedWhileItIsReadIsReadToTheEnd();
    void fileThatChangesBetweenItsTwoReadersFails_data();
    void fileThatChangesBetweenItsTwoReadersFails();
    void fileThatIsOverwrittenWhileItIsReadEndsTheReading();

private:
    MediaFolder media;
};

namespace {

constexpr double kSeconds = 20.0;

/** Lets every further read of the open file at \a path fail, as those of a folder do. */
bool breakReadsOf(const QString& path)
{
    bool found = false;
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    for (const QString& name : descriptors.entryList(QDir::Files | QDir::System)) {
        if (QFile::symLinkTarget(descriptors.filePath(name)) == path) {
            const int folder = ::open("/", O_RDONLY | O_DIRECTORY);
            found = ::dup2(folder, name.toInt()) >= 0;
            ::close(folder);
        }
    }
    return found;
}

} // namespace

void TestChangingFiles::initTestCase()
{
    reading::silenceLibraries();
}

void TestChangingFiles::init()
{
    faults::reset();
}

void TestChangingFiles::fileThatShrinksGivesTheFingerprintOfAPart_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<int>("percent");
    for (const char* suffix : {"wav", "flac", "mp3", "ogg", "m4a", "mka", "aac", "wma", "tta"}) {
        for (const int percent : {70, 0}) {
            QTest::addRow("%s to %d percent", suffix, percent)
                << QString::fromLatin1(suffix) << percent;
        }
    }
}

void TestChangingFiles::fileThatShrinksGivesTheFingerprintOfAPart()
{
    QFETCH(const QString, suffix);
    QFETCH(const int, percent);
    const QString path =
        media.makeTune(QStringLiteral("shrinking.") + suffix, {.seed = 1, .seconds = kSeconds});
    const Fingerprinted whole = fingerprinted(path);
    QVERIFY(whole.report.succeeded);
    const int feeds = faults::calls("chromaprint_feed");

    faults::reset();
    bool shrunk = false;
    faults::onCall("chromaprint_feed", feeds / 2, [&] {
        QFile file(path);
        shrunk = file.resize(file.size() * percent / 100);
    });
    const Fingerprinted part = fingerprinted(path);
    QVERIFY(shrunk);
    QVERIFY2(part.report.succeeded, part.report.messages.value(0).constData());
    // What had been read before, and what the libraries had read ahead.
    QVERIFY(part.words.size() > whole.words.size() / 3);
    QVERIFY(part.words.size() < whole.words.size());
    QCOMPARE(part.words.first(part.words.size() / 2), whole.words.first(part.words.size() / 2));
}

void TestChangingFiles::fileThatMetADiskErrorIsPartial_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("wav") << QStringLiteral("wav") << QStringList();
    QTest::newRow("flac") << QStringLiteral("flac") << QStringList();
    QTest::newRow("mp3 of no stated length")
        << QStringLiteral("mp3") << QStringList{QStringLiteral("-write_xing"), QStringLiteral("0")};
    QTest::newRow("aac of no stated length") << QStringLiteral("aac") << QStringList();
}

/** Most formats take the error for the end of the file. */
void TestChangingFiles::fileThatMetADiskErrorIsPartial()
{
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    const QString path = media.makeTune(QStringLiteral("unreadable.") + suffix,
                                        {.seed = 1, .seconds = kSeconds}, arguments);
    QCOMPARE(fingerprint::fingerprintFile(path).facts.completeness,
             fingerprint::Completeness::Whole);
    const int feeds = faults::calls("chromaprint_feed");
    faults::reset();
    bool isBroken = false;
    faults::onCall("chromaprint_feed", feeds / 2, [&] { isBroken = breakReadsOf(path); });
    const fingerprint::FingerprintOutcome outcome = fingerprint::fingerprintFile(path);
    QVERIFY(isBroken);
    QVERIFY(outcome.report.succeeded);
    QVERIFY(outcome.report.inputFailed);
    QVERIFY(outcome.facts.decodedMs < qRound64(kSeconds * 1000) - 1000);
    QCOMPARE(outcome.facts.completeness, fingerprint::Completeness::Partial);
    QVERIFY(!outcome.facts.breakReason.isEmpty());
}

void TestChangingFiles::fileThatIsRemovedWhileItIsReadIsReadToTheEnd()
{
    const QString path =
        media.makeTune(QStringLiteral("removed.flac"), {.seed = 1, .seconds = kSeconds});
    const Fingerprinted whole = fingerprinted(path);
    faults::reset();
    faults::onCall("chromaprint_feed", 10, [&path] { QFile::remove(path); });
    const Fingerprinted removed = fingerprinted(path);
    QVERIFY(!QFile::exists(path));
    QCOMPARE(removed.report.messages, QByteArrayList());
    QCOMPARE(removed.words, whole.words);
}

void TestChangingFiles::fileThatChangesBetweenItsTwoReadersFails_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QByteArray>("message");
    const auto row = [](const char* change, const char* reason) {
        QTest::newRow(change) << QString::fromLatin1(change)
                              << QByteArray("Could not open the input file (") + reason + ")";
    };
    row("removed", "No such file or directory");
    QTest::newRow("emptied") << QStringLiteral("emptied")
                             << QByteArray("Could not find any audio stream in the file "
                                           "(Stream not found)");
    row("a folder", "Is a directory");
    row("a pipe", "Invalid argument");
    row("a link to itself", "Too many levels of symbolic links");
    row("a playlist", "Invalid argument");
}

void TestChangingFiles::fileThatChangesBetweenItsTwoReadersFails()
{
    QFETCH(const QString, change);
    QFETCH(const QByteArray, message);
    const QString path =
        media.makeTune(QStringLiteral("swapped.flac"), {.seed = 1, .seconds = 3.0});
    faults::onCall("chromaprint_new", 1, [&] {
        QFile::remove(path);
        if (change == u"emptied") {
            media.write(QStringLiteral("swapped.flac"), {});
        } else if (change == u"a folder") {
            QDir().mkdir(path);
        } else if (change == u"a pipe") {
            mkfifo(path.toUtf8().constData(), 0600);
        } else if (change == u"a link to itself") {
            QFile::link(path, path);
        } else if (change == u"a playlist") {
            media.write(QStringLiteral("swapped.flac"),
                        "ffconcat version 1.0\nfile swapped.flac\n");
        }
    });
    const Fingerprinted result = fingerprinted(path);
    QCOMPARE(faults::calls("chromaprint_new"), 1);
    QCOMPARE(result.report.messages, QByteArrayList{message});
    QVERIFY(QFile::remove(path) || QDir().rmdir(path) || change == u"removed");
}

void TestChangingFiles::fileThatIsOverwrittenWhileItIsReadEndsTheReading()
{
    const QString path =
        media.makeTune(QStringLiteral("overwritten.flac"), {.seed = 1, .seconds = kSeconds});
    const qint64 size = QFileInfo(path).size();
    const Fingerprinted whole = fingerprinted(path);
    faults::reset();
    faults::onCall("chromaprint_feed", 20, [&] {
        QFile file(path);
        // In place, as a program does that writes the same file again.
        QVERIFY(file.open(QFile::ReadWrite) &&
                file.write(QByteArray(static_cast<qsizetype>(size), '\xAA')) == size);
    });
    const Fingerprinted result = fingerprinted(path);
    QVERIFY(result.report.succeeded);
    QVERIFY(!result.words.isEmpty() && result.words.size() < whole.words.size());
}

QTEST_GUILESS_MAIN(TestChangingFiles)
#include "tst_changingfiles.moc"
