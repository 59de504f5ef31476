#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/fingerprintcalculation.h"
#include "reading.h"
#include "support/media.h"
#include "support/standardstreams.h"

#include <QFile>
#include <QTest>
#include <QtConcurrent>

#include <sys/stat.h>

#include <cstdio>

using reading::isFailure;
using reading::likeness;
using testmedia::MediaFolder;
using testmedia::StandardErrorCapture;

/** One file's record: what it holds, and that no file, name or stop does any harm. */
class TestFingerprintRecord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void recordHoldsPathWordsAndTheSourcesProperties();
    void fileWithoutAudioGivesAnEmptyRecord();
    void messagesArePrintedAsErrors();
    void valuesWrittenBeforeAFailureAreDiscarded();
    void brokenFileKeepsItsPartAndReportsTheBreak();
    void requestedStopGivesAnEmptyRecordSilently();
    void unusualNamesGiveTheirOwnFilesRecord_data();
    void unusualNamesGiveTheirOwnFilesRecord();
    void nameThatIsNotUtf8NeverGivesAnotherFilesRecord();
    void nameThatCannotBeEncodedNeverGivesAnotherFilesRecord_data();
    void nameThatCannotBeEncodedNeverGivesAnotherFilesRecord();
    void pathsThatDifferOnlyInCaseAreDifferentFiles();
    void poolsOfAnySizeGiveTheSerialRecords_data();
    void poolsOfAnySizeGiveTheSerialRecords();

private:
    MediaFolder media;
    QString tune;
};

void TestFingerprintRecord::initTestCase()
{
    tune = media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 8.0});
}

void TestFingerprintRecord::recordHoldsPathWordsAndTheSourcesProperties()
{
    const QString path =
        media.makeTune(QStringLiteral("tune.flac"),
                       {.seed = 1, .seconds = 8.0, .sampleRateHz = 22050, .channels = 1});
    const auto [recordPath, words, durationMs, sampleRateHz, channels] = reading::recordOf(path);
    QCOMPARE(recordPath, path);
    QVERIFY(words.size() > 30);
    QCOMPARE(durationMs, 8000);
    QCOMPARE(sampleRateHz, 22050);
    QCOMPARE(channels, 1);
}

void TestFingerprintRecord::fileWithoutAudioGivesAnEmptyRecord()
{
    const QString picture = media.makePicture(QStringLiteral("picture.mp4"));
    QVERIFY(isFailure(reading::recordOf(picture), picture));
}

void TestFingerprintRecord::messagesArePrintedAsErrors()
{
    StandardErrorCapture capture;
    fingerprint::printMessages({});
    fingerprint::printMessages({.messages = {"One", "Two (with a reason)"}});
    QCOMPARE(capture.take(), QByteArray("ERROR: One\nERROR: Two (with a reason)\n"));
}

void TestFingerprintRecord::valuesWrittenBeforeAFailureAreDiscarded()
{
    const QString path =
        media.write(QStringLiteral("nothing.wav"), testmedia::wavFile({}, 44100, 2));
    QVERIFY(isFailure(reading::recordOf(path), path));
}

void TestFingerprintRecord::brokenFileKeepsItsPartAndReportsTheBreak()
{
    const QString whole =
        media.makeTune(QStringLiteral("whole.flac"), {.seed = 2, .seconds = 12.0});
    const QString cut = media.truncate(QStringLiteral("cut.flac"), whole, 0.7);
    const auto [record, report, facts] = fingerprint::fingerprintFile(cut);
    QVERIFY(report.succeeded);
    QCOMPARE(report.messages, QByteArrayList{"Error reading from the audio source "
                                             "(Invalid data found when processing input)"});
    QCOMPARE(likeness(record, reading::recordOf(whole)), 100);
}

void TestFingerprintRecord::requestedStopGivesAnEmptyRecordSilently()
{
    std::stop_source stop;
    stop.request_stop();
    const auto [record, report, facts] = fingerprint::fingerprintFile(tune, stop.get_token());
    QVERIFY(report.stopped);
    QCOMPARE(report.messages, QByteArrayList());
    QVERIFY(isFailure(record, tune));
}

void TestFingerprintRecord::unusualNamesGiveTheirOwnFilesRecord_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("spaces") << QStringLiteral("  two  spaces .mp3");
    QTest::newRow("quotes") << QStringLiteral("it's \"quoted\" `so`.mp3");
    QTest::newRow("emoji") << QStringLiteral("\U0001F3B5 \U0001F469\u200D\U0001F3A4.mp3");
    QTest::newRow("right to left") << QStringLiteral("\u0623\u063A\u0646\u064A\u0629.mp3");
    QTest::newRow("combining") << QStringLiteral("e\u0301\u0323.mp3");
    QTest::newRow("precomposed") << QStringLiteral("\u00E9\u0323.mp3");
    QTest::newRow("newline") << QStringLiteral("line\nbreak.mp3");
    QTest::newRow("leading dash") << QStringLiteral("-y.mp3");
    QTest::newRow("only a dash in a folder") << QStringLiteral("-/-.mp3");
    QTest::newRow("255 bytes") << QString(251, u'n') + QStringLiteral(".mp3");
    QTest::newRow("255 bytes of emoji")
        << QStringLiteral("\U0001F3B5").repeated(62) + QStringLiteral("abc.mp3");
    QTest::newRow("percent and colon") << QStringLiteral("100%: %03d %n.mp3");
    QTest::newRow("backslash") << QStringLiteral("a\\b.mp3");
    QTest::newRow("long path") << (QString(200, u'd') + u'/').repeated(15) +
                                      QStringLiteral("deep.mp3");
}

void TestFingerprintRecord::unusualNamesGiveTheirOwnFilesRecord()
{
    QFETCH(const QString, name);
    const QString path = media.filePath(QStringLiteral("names/") + name);
    QVERIFY(QFile::copy(tune, path));
    const QStringList found =
        fingerprint::findAudioFiles({media.filePath(QStringLiteral("names"))});
    QVERIFY(found.contains(path));
    const FingerprintRecord record = reading::recordOf(path);
    QCOMPARE(std::get<0>(record), path);
    QCOMPARE(reading::wordsOf(record), reading::wordsOf(reading::recordOf(tune)));
}

void TestFingerprintRecord::nameThatIsNotUtf8NeverGivesAnotherFilesRecord()
{
    const QString folder = media.filePath(QStringLiteral("bytes/x")).chopped(2);
    const QByteArray latin1 = folder.toUtf8() + "/caf\xE9.mp3";
    QVERIFY(std::rename(media.write(QStringLiteral("copy.mp3"), testmedia::contentOf(tune))
                            .toUtf8()
                            .constData(),
                        latin1.constData()) == 0);
    QCOMPARE(fingerprint::findAudioFiles({folder}), QStringList());
    // What such a name looks like after decoding is the name of no file here.
    const QString decoded = QFile::decodeName(latin1);
    QVERIFY(isFailure(reading::recordOf(decoded), decoded));
    std::remove(latin1.constData());
}

void TestFingerprintRecord::nameThatCannotBeEncodedNeverGivesAnotherFilesRecord_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("other");
    QTest::newRow("half a surrogate pair")
        << QString(QStringLiteral("a") + QChar(0xD83C) + QStringLiteral(".mp3"))
        << QStringLiteral("a?.mp3");
    QTest::newRow("null character")
        << QString(QStringLiteral("b.mp3") + QChar(0) + QStringLiteral(".mp3"))
        << QStringLiteral("b.mp3");
}

void TestFingerprintRecord::nameThatCannotBeEncodedNeverGivesAnotherFilesRecord()
{
    QFETCH(const QString, name);
    QFETCH(const QString, other);
    media.write(other, testmedia::contentOf(tune));
    const QString path = media.path() + u'/' + name;
    const auto [record, report, facts] = fingerprint::fingerprintFile(path);
    QCOMPARE(report.messages, QByteArrayList{"Could not open the input file (Invalid argument)"});
    QVERIFY(isFailure(record, path));
}

void TestFingerprintRecord::pathsThatDifferOnlyInCaseAreDifferentFiles()
{
    const QString lower = media.makeTune(QStringLiteral("case.mp3"), {.seed = 3, .seconds = 8.0});
    const QString upper = media.makeTune(QStringLiteral("CASE.mp3"), {.seed = 4, .seconds = 8.0});
    QVERIFY(likeness(reading::recordOf(lower), reading::recordOf(upper)) < 50);
}

void TestFingerprintRecord::poolsOfAnySizeGiveTheSerialRecords_data()
{
    QTest::addColumn<int>("threads");
    for (const int threads : {1, 2, 8}) {
        QTest::addRow("%d threads", threads) << threads;
    }
}

void TestFingerprintRecord::poolsOfAnySizeGiveTheSerialRecords()
{
    QFETCH(const int, threads);
    const QStringList suffixes = {QStringLiteral("mp3"), QStringLiteral("flac"),
                                  QStringLiteral("ogg"), QStringLiteral("m4a"),
                                  QStringLiteral("wav")};
    QStringList paths = {QStringLiteral("/no/such/file"),
                         media.makePicture(QStringLiteral("still.mkv"))};
    for (unsigned seed = 10; seed < 14; ++seed) {
        for (const QString& suffix : suffixes) {
            paths.append(media.makeTune(QStringLiteral("%1.%2").arg(seed).arg(suffix),
                                        {.seed = seed, .seconds = 4.0}));
        }
    }
    QList<FingerprintRecord> serial;
    for (const QString& path : paths) {
        serial.append(reading::recordOf(path));
    }
    QThreadPool pool;
    pool.setMaxThreadCount(threads);
    for (int round = 0; round < 5; ++round) {
        QCOMPARE(QtConcurrent::blockingMapped<QList<FingerprintRecord>>(&pool, paths,
                                                                        &reading::recordOf),
                 serial);
    }
}

QTEST_GUILESS_MAIN(TestFingerprintRecord)
#include "tst_fingerprintrecord.moc"
