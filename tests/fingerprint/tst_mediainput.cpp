#include "fingerprint/mediainput.h"
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
    void playlistUnderAMediaNameIsRefusedAtOpen_data();
    void playlistUnderAMediaNameIsRefusedAtOpen();
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

namespace {

/** A Matroska element: its number in hexadecimal, its length in eight bytes, its content. */
QByteArray element(const QByteArray& number, const QByteArray& content)
{
    QByteArray length(8, '\0');
    qint64 rest = content.size();
    for (qsizetype i = 7; i > 0; --i) {
        length[i] = static_cast<char>(rest & 0xFF);
        rest >>= 8;
    }
    length[0] = '\x01';
    return QByteArray::fromHex(number) + length + content;
}

/** A film without pictures whose sound is one single packet of \a bytes bytes. */
QByteArray soundInOnePacket(qsizetype bytes)
{
    const QByteArray audio = element("E1", element("B5", QByteArray::fromHex("40E5888000000000")) +
                                               element("9F", "\x01") + element("6264", "\x10"));
    const QByteArray track = element("D7", "\x01") + element("73C5", "\x01") +
                             element("83", "\x02") + element("86", "A_PCM/INT/LIT") + audio;
    const QByteArray block = QByteArray::fromHex("81000080") + QByteArray(bytes, '\0');
    const QByteArray cluster = element("E7", QByteArray(1, '\0')) + element("A3", block);
    return element("1A45DFA3", element("4282", "matroska")) +
           element("18538067", element("1549A966", element("2AD7B1", "\x0F\x42\x40")) +
                                   element("1654AE6B", element("AE", track)) +
                                   element("1F43B675", cluster));
}

} // namespace

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

void TestMediaInput::playlistUnderAMediaNameIsRefusedAtOpen_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    const QString tune = media.filePath(QStringLiteral("tune.mp3"));
    const QByteArray target = tune.toUtf8();
    const QList<std::pair<const char*, QByteArray>> kinds = {
        {"concat", "ffconcat version 1.0\nfile '" + target + "'\n"},
        {"hls", "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXT-X-MEDIA-SEQUENCE:0\n"
                "#EXTINF:3.0,\n" +
                    target + "\n#EXT-X-ENDLIST\n"},
        {"dash", "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" "
                 "type=\"static\" mediaPresentationDuration=\"PT3S\" "
                 "profiles=\"urn:mpeg:dash:profile:isoff-main:2011\"><Period><AdaptationSet>"
                 "<Representation id=\"1\" mimeType=\"audio/mp4\" bandwidth=\"128000\"><BaseURL>" +
                     target + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n"},
        {"webm dash",
         "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:DASH:schema:MPD:2011\" "
         "type=\"static\" mediaPresentationDuration=\"PT3S\" "
         "profiles=\"urn:webm:dash:profile:webm-on-demand:2012\"><Period><AdaptationSet>"
         "<Representation id=\"1\" mimeType=\"audio/webm\" bandwidth=\"128000\"><BaseURL>" +
             target + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n"},
        {"vobsub", "# VobSub index file, v7 (do not modify this line!)\nsize: 720x576\n"
                   "id: en, index: 0\ntimestamp: 00:00:01:000, filepos: 000000000\n"},
        {"sdp", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
                "m=audio 5004 RTP/AVP 0\n"},
    };
    for (const auto& [kind, content] : kinds) {
        for (const QString& suffix :
             {QStringLiteral("mp3"), QStringLiteral("flac"), QStringLiteral("mkv")}) {
            const QString name = QStringLiteral("%1.%2").arg(QString::fromUtf8(kind), suffix);
            QTest::newRow(qUtf8Printable(name)) << name << content;
        }
    }
    QTest::newRow("a script that names itself")
        << QStringLiteral("self.mp3") << QByteArray("ffconcat version 1.0\nfile self.mp3\n");
}

void TestMediaInput::playlistUnderAMediaNameIsRefusedAtOpen()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    QCOMPARE(openError(media.write(name, content)),
             QByteArray("Could not open the input file (Invalid argument)"));
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
    const QStringList fast = {QStringLiteral("-preset"), QStringLiteral("ultrafast")};
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
    const QString film = media.filePath(QStringLiteral("film.flv"));
    testmedia::runFfmpeg(QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"),
                                     QStringLiteral("-i"), QStringLiteral("testsrc2=s=12000x10000"),
                                     QStringLiteral("-i"), tune, QStringLiteral("-frames:v"),
                                     QStringLiteral("4"), QStringLiteral("-c:a"),
                                     QStringLiteral("copy")} +
                         fast + QStringList{film});
    QTest::newRow("film of 120 megapixels") << film;
    QTest::newRow("packet of 120 MB")
        << media.write(QStringLiteral("packet.mkv"), soundInOnePacket(120000000));
    QByteArray slow = testmedia::wavFile({}, 1, 1);
    slow.replace(40, 4, QByteArray::fromHex("0046C323")); // says 600 MB
    QTest::newRow("one hertz") << media.writeSparse(QStringLiteral("slow.wav"), slow, 600000044);
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
    QVERIFY2(peakKiB < 256 * 1024, output.constData());
#endif
}

QTEST_GUILESS_MAIN(TestMediaInput)
#include "tst_mediainput.moc"
