#include "fingerprint/mediainput.h"
#include "matroska.h"
#include "reading.h"
#include "support/media.h"
#include "support/standardstreams.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using reading::openError;
using testmedia::MediaFolder;

/** What is let in as a media file, and what a malicious one can cost. */
class TestMediaInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyFormatButThoseThatNameOtherFilesIsPermitted();
    void whatIsNoRegularFileIsRefusedWithoutOpeningIt_data();
    void whatIsNoRegularFileIsRefusedWithoutOpeningIt();
    void linkToAFileIsOpened();
    void standardInputIsOpened();
    void relativeNameIsNeverTakenForAProtocol_data();
    void relativeNameIsNeverTakenForAProtocol();
    void addressOfAServerIsNoFile();
    void noFileTakesMoreThanAQuarterOfAGigabyte_data();
    void noFileTakesMoreThanAQuarterOfAGigabyte();

private:
    MediaFolder media;
};

void TestMediaInput::initTestCase()
{
    reading::silenceLibraries();
    media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 3.0});
}

void TestMediaInput::everyFormatButThoseThatNameOtherFilesIsPermitted()
{
    const QList<QByteArray> permitted =
        QByteArray::fromStdString(chromaprint::permittedFormats()).split(',');
    for (const char* name :
         {"mov",  "m4a", "mj2",  "matroska", "webm", "avi", "flv",   "asf",   "wav",
          "flac", "mp3", "aac",  "ac3",      "ogg",  "tta", "tak",   "ape",   "mpc",
          "mpc8", "shn", "alaw", "mulaw",    "s8",   "u8",  "s16le", "u16le", "cdg"}) {
        QVERIFY2(permitted.contains(name), name);
    }
    for (const char* name :
         {"hls", "dash", "concat", "concatf", "imf", "vobsub", "sdp", "rtsp", "rtp", "sap",
          "webm_dash_manifest", "image2", "tedcaptions", "lavfi", ""}) {
        QVERIFY2(!permitted.contains(name), name);
    }
    QVERIFY(permitted.size() > 200);
}

void TestMediaInput::whatIsNoRegularFileIsRefusedWithoutOpeningIt_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("reason");
    const QString fifo = media.filePath(QStringLiteral("fifo.mp3"));
    mkfifo(fifo.toUtf8().constData(), 0600);
    const QString socketPath = media.filePath(QStringLiteral("socket.mp3"));
    mknod(socketPath.toUtf8().constData(), S_IFSOCK | 0600, 0);
    const auto linked = [this](const QString& target, const QString& name) {
        const QString path = media.filePath(name);
        QFile::link(target, path);
        return path;
    };
    const QByteArray invalid = "Invalid argument";
    const QByteArray directory = "Is a directory";
    QTest::newRow("FIFO") << fifo << invalid;
    QTest::newRow("link to a FIFO") << linked(fifo, QStringLiteral("tofifo.mp3")) << invalid;
    QTest::newRow("socket") << socketPath << invalid;
    QTest::newRow("device without end")
        << linked(QStringLiteral("/dev/zero"), QStringLiteral("zero.mp3")) << invalid;
    QTest::newRow("terminal") << QStringLiteral("/dev/tty") << invalid;
    QTest::newRow("folder") << media.path() << directory;
    QTest::newRow("link to a folder")
        << linked(media.path(), QStringLiteral("tofolder.mp3")) << directory;
    QTest::newRow("link to nothing")
        << linked(QStringLiteral("/nowhere"), QStringLiteral("broken.mp3"))
        << QByteArray("No such file or directory");
    QTest::newRow("link to itself")
        << linked(media.filePath(QStringLiteral("loop.mp3")), QStringLiteral("loop.mp3"))
        << QByteArray("Too many levels of symbolic links");
}

void TestMediaInput::whatIsNoRegularFileIsRefusedWithoutOpeningIt()
{
    QFETCH(const QString, path);
    QFETCH(const QByteArray, reason);
    QCOMPARE(openError(path), QByteArray("Could not open the input file (" + reason + ")"));
}

void TestMediaInput::linkToAFileIsOpened()
{
    const QString link = media.filePath(QStringLiteral("link.mp3"));
    QVERIFY(QFile::link(media.filePath(QStringLiteral("tune.mp3")), link));
    QCOMPARE(openError(link), QByteArray());
}

void TestMediaInput::standardInputIsOpened()
{
    const QByteArray tune = media.filePath(QStringLiteral("tune.mp3")).toUtf8();
    const int file = open(tune.constData(), O_RDONLY);
    QVERIFY(file >= 0);
    {
        const testmedia::StandardInputReplacement replacement(file);
        QCOMPARE(openError(QStringLiteral("pipe:0")), QByteArray());
    }
    close(file);
}

void TestMediaInput::relativeNameIsNeverTakenForAProtocol_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"file:x.mp3", "pipe:1", "pipe:0.mp3", "data:x.mp3", "http:x.mp3",
                             "concat:x.mp3|tune.mp3", "subfile,,start,0,end,9,,:x.mp3",
                             "crypto:x.mp3", "-i.mp3", "- .mp3", "%d.mp3", "a:b.mp3"}) {
        QTest::newRow(name) << QString::fromUtf8(name);
    }
}

void TestMediaInput::relativeNameIsNeverTakenForAProtocol()
{
    QFETCH(const QString, name);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(media.path()));
    media.write(name, testmedia::contentOf(media.filePath(QStringLiteral("tune.mp3"))));
    const QByteArray error = openError(name);
    QFile::remove(name);
    const QByteArray withoutFile = openError(name);
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(error, QByteArray());
    QCOMPARE(withoutFile, QByteArray("Could not open the input file (No such file or directory)"));
}

void TestMediaInput::addressOfAServerIsNoFile()
{
    QCOMPARE(openError(QStringLiteral("http://127.0.0.1:1/tune.mp3")),
             QByteArray("Could not open the input file (No such file or directory)"));
}

void TestMediaInput::noFileTakesMoreThanAQuarterOfAGigabyte_data()
{
    QTest::addColumn<QString>("path");
    const QString tune = media.filePath(QStringLiteral("tune.mp3"));
    const auto covered = [&](const QString& name, const QString& picture, int width, int height,
                             const QStringList& arguments = {}) {
        const QString path =
            media.addCover(name, tune, media.makePicture(picture, width, height, arguments));
        QTest::newRow(qUtf8Printable(picture)) << path;
    };
    covered(QStringLiteral("jpeg.mp3"), QStringLiteral("cover.jpg"), 10000, 10000);
    covered(QStringLiteral("png.mp3"), QStringLiteral("cover.png"), 10000, 10000,
            {QStringLiteral("-pix_fmt"), QStringLiteral("gray")});
    covered(QStringLiteral("jp2.mka"), QStringLiteral("cover.jp2"), 8000, 6000);
    QTest::newRow("packet of 120 MB")
        << media.write(QStringLiteral("packet.mkv"),
                       matroska::file({matroska::soundTrack(1)},
                                      {matroska::soundBlock(0, QByteArray(120000000, 0))}));
    const auto film = [&](const char* name, int width, int height, const char* codec,
                          const char* arguments = "-preset ultrafast -frames:v 4") {
        const QString path = media.makeLargeFilm(
            QString::fromLatin1(name), width, height, {.seed = 1, .seconds = 5.0},
            QStringList{QStringLiteral("-c:a"), QStringLiteral("libmp3lame"),
                        QStringLiteral("-strict"), QStringLiteral("-2"), QStringLiteral("-c:v"),
                        QString::fromLatin1(codec)} +
                QString::fromLatin1(arguments).split(QLatin1Char(' ')));
        QTest::newRow(name) << path;
        return path;
    };
    // Encoding takes by far the longest.
    const auto sameFilm = [&](const char* name, const QString& original) {
        const QString path = media.filePath(QString::fromLatin1(name));
        testmedia::runFfmpeg(
            {QStringLiteral("-i"), original, QStringLiteral("-c"), QStringLiteral("copy"), path});
        QTest::newRow(name) << path;
    };
    film("film of deep colours that refers to 16 pictures.ts", 3840, 2160, "libx264",
         "-preset ultrafast -frames:v 20 -g 20 -pix_fmt yuv422p10le "
         "-x264-params ref=16:bframes=0:level=6.2:crf=40");
    sameFilm("film of 120 megapixels.ts",
             film("film of 120 megapixels.flv", 12000, 10000, "libx264"));
    sameFilm("film of 48 megapixels.wtv",
             film("film of 48 megapixels.mpg", 8000, 6000, "mpeg2video"));
    const QByteArray recording = testmedia::samplesOf({.seed = 1, .seconds = 5.0});
    QTest::newRow("recording of 4.5 GB") << media.writeSparse(
        QStringLiteral("wrapped.wav"), testmedia::wavFile(recording, 44100, 2), 4500000000);
    QTest::newRow("one hertz") << media.write(
        QStringLiteral("slow.mka"),
        matroska::file({matroska::soundTrack(1, 1.0)},
                       QByteArrayList(600, matroska::soundBlock(0, QByteArray(100000, 0)))));
    QByteArrayList tracks;
    for (int index = 1; index <= 20000; ++index) {
        tracks.append(matroska::soundTrack(index));
    }
    QTest::newRow("twenty thousand streams")
        << media.write(QStringLiteral("thousands.mka"),
                       matroska::file(tracks, {matroska::soundBlock(0, QByteArray(100000, 0))}));
}

void TestMediaInput::noFileTakesMoreThanAQuarterOfAGigabyte()
{
    QFETCH(const QString, path);
    QProcess process;
    process.start(QStringLiteral(QUORVEL_MEDIAGUARD), {path});
    QVERIFY(process.waitForFinished(-1));
    QCOMPARE(process.exitCode(), 0);
    const QByteArray output = process.readAllStandardOutput().trimmed();
    const qint64 peakKiB = output.split(' ').last().toLongLong();
    QVERIFY(peakKiB > 0);
#if !defined(__SANITIZE_ADDRESS__)
    QVERIFY2(peakKiB < qint64{256} * 1024, output.constData());
#endif
}

QTEST_GUILESS_MAIN(TestMediaInput)
#include "tst_mediainput.moc"
