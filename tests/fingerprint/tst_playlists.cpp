#include "opentrace.h"
#include "reading.h"
#include "support/media.h"

#include <QDir>
#include <QTest>

extern "C" {
#include <libavutil/error.h>
}

using reading::openError;
using testmedia::MediaFolder;

/**
 * Playlists, manifests, indexes and scripts under the names of media. Each names another file of
 * the same folder, which would sound well; none may be opened but the one that was asked for.
 */
class TestPlaylists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void soundFileIsOpenedTwiceAndSeenInTheTrace();
    void playlistUnderAMediaNameIsRefusedAtOpen_data();
    void playlistUnderAMediaNameIsRefusedAtOpen();
    void playlistUnderAMediaNameOpensNoOtherFile_data();
    void playlistUnderAMediaNameOpensNoOtherFile();
    void scriptThatNamesItselfIsOpenedOnce_data();
    void scriptThatNamesItselfIsOpenedOnce();
    void pictureHasNoSoundAndIsOpenedAlone_data();
    void pictureHasNoSoundAndIsOpenedAlone();

private:
    void addKinds(bool alsoUnknown) const;
    void openedAlone();

    MediaFolder media;
};

namespace {

constexpr auto kNoSound = "Could not find any audio stream in the file (Stream not found)";

struct Kind
{
    const char* name;
    QByteArray content;
    /** Whether FFmpeg takes it for what it is; the others are text to it, or nothing. */
    bool known = true;
};

QByteArray dashManifest(const QByteArray& target)
{
    return "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
           "mediaPresentationDuration=\"PT3S\" profiles=\"urn:mpeg:dash:profile:isoff-main:2011\">"
           "<Period><AdaptationSet><Representation id=\"1\" mimeType=\"audio/mp4\" "
           "bandwidth=\"128000\"><BaseURL>" +
           target + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n";
}

QByteArray webmManifest(const QByteArray& target)
{
    return "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:DASH:schema:MPD:2011\" type=\"static\" "
           "mediaPresentationDuration=\"PT3S\" "
           "profiles=\"urn:webm:dash:profile:webm-on-demand:2012\"><Period><AdaptationSet>"
           "<Representation id=\"1\" mimeType=\"audio/webm\" bandwidth=\"128000\"><BaseURL>" +
           target + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n";
}

QByteArray masterPlaylist(const QByteArray& target)
{
    return "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=128000\n" + target + "\n";
}

QByteArray mediaPlaylist(const QByteArray& target)
{
    return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXT-X-MEDIA-SEQUENCE:0\n"
           "#EXT-X-KEY:METHOD=AES-128,URI=\"" +
           target + "\"\n#EXTINF:3.0,\n" + target + "\n#EXT-X-ENDLIST\n";
}

QByteArray compositionPlaylist(const QByteArray& target)
{
    return "<?xml version=\"1.0\"?>\n<CompositionPlaylist "
           "xmlns=\"http://www.smpte-ra.org/schemas/2067-3/2016\"><ContentTitle>x</ContentTitle>"
           "<EditRate>24 1</EditRate><SegmentList></SegmentList><Path>" +
           target + "</Path></CompositionPlaylist>\n";
}

QList<Kind> kindsNaming(const QByteArray& target)
{
    return {
        {"concat", "ffconcat version 1.0\nfile '" + target + "'\n"},
        {"HLS", mediaPlaylist(target)},
        {"HLS of playlists", masterPlaylist(target)},
        {"DASH", dashManifest(target)},
        {"WebM DASH", webmManifest(target)},
        {"VobSub", "# VobSub index file, v7 (do not modify this line!)\nsize: 720x576\n"
                   "id: en, index: 0\ntimestamp: 00:00:01:000, filepos: 000000000\n"},
        {"SDP", "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
                "m=audio 5004 RTP/AVP 0\n"},
        {"TED captions", "{\"captions\":[{\"duration\":1000,\"content\":\"" + target +
                             "\",\"startOfParagraph\":true,\"startTime\":0}]}"},
        {"IMF", compositionPlaylist(target), false},
        {"M3U", "#EXTM3U\n#EXTINF:3,\n" + target + "\n", false},
        {"list of names", target + "\n" + target + "\n", false},
        {"PLS", "[playlist]\nFile1=" + target + "\nNumberOfEntries=1\n", false},
        {"ASX", "<asx version=\"3.0\"><entry><ref href=\"" + target + "\"/></entry></asx>\n",
         false},
        {"ASF reference", "[Reference]\nRef1=" + target + "\n", false},
        {"RTSP text", "RTSPtextrtsp://127.0.0.1/" + target + "\n", false},
        {"cue sheet", "FILE \"" + target + "\" MP3\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n",
         false},
        {"image link", "[Monkey's Audio Image Link File]\nImage File=" + target + "\n", false},
    };
}

} // namespace

void TestPlaylists::initTestCase()
{
    reading::silenceLibraries();
    media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 3.0});
    // What a VobSub index means, and what the pattern of a sequence of pictures means.
    for (const char* name : {"VobSub.sub", "image1.mp3"}) {
        media.write(QString::fromUtf8(name),
                    testmedia::contentOf(media.filePath(QStringLiteral("tune.mp3"))));
    }
}

void TestPlaylists::addKinds(bool alsoUnknown) const
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    const QByteArray target = media.filePath(QStringLiteral("tune.mp3")).toUtf8();
    for (const Kind& kind : kindsNaming(target)) {
        if (!kind.known && !alsoUnknown) {
            continue;
        }
        QByteArrayList suffixes = {"mp3", "flac", "mkv"};
        if (alsoUnknown) {
            suffixes.append("jpg"); // some of them are pictures then, which are not read either
        }
        for (const QByteArray& suffix : suffixes) {
            const QString name = QStringLiteral("%1.%2").arg(QString::fromUtf8(kind.name),
                                                             QString::fromUtf8(suffix));
            QTest::newRow(qUtf8Printable(name)) << name << kind.content;
        }
    }
}

/** Claims of the file of this row that it is opened once, that nothing else is, and that it fails.
 */
void TestPlaylists::openedAlone()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    const QString path = media.write(name, content);
    const opentrace::Trace trace = opentrace::run(QStringLiteral(QUORVEL_MEDIAGUARD), {path});
    if (!trace.obstacle.isEmpty()) {
        QSKIP(qPrintable(trace.obstacle));
    }
    QCOMPARE(trace.exitCode, 0);
    QVERIFY2(trace.output.startsWith("none "), trace.output.constData());
    // Refused by the reader that asks for the properties; the second one is never made.
    QCOMPARE(trace.below(media.path()), QStringList{path});
    QCOMPARE(trace.sockets, 0);
}

/** The trace would be worth nothing if it did not show what is opened. */
void TestPlaylists::soundFileIsOpenedTwiceAndSeenInTheTrace()
{
    const QString path = media.filePath(QStringLiteral("tune.mp3"));
    const opentrace::Trace trace = opentrace::run(QStringLiteral(QUORVEL_MEDIAGUARD), {path});
    if (!trace.obstacle.isEmpty()) {
        QSKIP(qPrintable(trace.obstacle));
    }
    QVERIFY(trace.output.startsWith("fingerprint "));
    QCOMPARE(trace.below(media.path()), QStringList({path, path}));
}

void TestPlaylists::playlistUnderAMediaNameIsRefusedAtOpen_data()
{
    addKinds(false);
}

void TestPlaylists::playlistUnderAMediaNameIsRefusedAtOpen()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    const QByteArray error = openError(media.write(name, content));
    // FFmpeg 7 takes no list for one that is not called so, and finds no sound in it.
    QVERIFY2(error.startsWith("Could not open the input file (") || error == kNoSound,
             error.constData());
}

void TestPlaylists::playlistUnderAMediaNameOpensNoOtherFile_data()
{
    addKinds(true);
}

void TestPlaylists::playlistUnderAMediaNameOpensNoOtherFile()
{
    openedAlone();
}

void TestPlaylists::scriptThatNamesItselfIsOpenedOnce_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    const auto row = [this](const char* kind, const QString& name, auto content) {
        QTest::newRow(kind) << name << QByteArray(content(media.filePath(name).toUtf8()));
    };
    row("concat", QStringLiteral("self.mp3"),
        [](const QByteArray&) -> QByteArray { return "ffconcat version 1.0\nfile self.mp3\n"; });
    row("HLS", QStringLiteral("self.aac"), mediaPlaylist);
    row("HLS of playlists", QStringLiteral("self.m4a"), masterPlaylist);
    row("DASH", QStringLiteral("self.mp4"), dashManifest);
    row("WebM DASH", QStringLiteral("self.webm"), webmManifest);
    // A sequence of pictures whose pattern matches another file of the folder.
    row("picture sequence", QStringLiteral("image%d.mp3"),
        [](const QByteArray&) { return QByteArray(); });
}

void TestPlaylists::scriptThatNamesItselfIsOpenedOnce()
{
    openedAlone();
}

/** Pictures of the same names, with numbers and in other words, are in the folder as well. */
void TestPlaylists::pictureHasNoSoundAndIsOpenedAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");
    const QByteArray jpeg =
        testmedia::contentOf(media.makePicture(QStringLiteral("made.jpg"), 64, 48));
    const QByteArray png =
        testmedia::contentOf(media.makePicture(QStringLiteral("made.png"), 64, 48));
    for (const char* name : {"a001.jpg", "a002.jpg", "a003.jpg", "b001.png", "c.jpg", "d.jpg"}) {
        media.write(QString::fromUtf8(name), jpeg);
    }
    const auto row = [](const char* name, const QByteArray& content) {
        QTest::newRow(name) << QString::fromUtf8(name) << content;
    };
    row("x.jpg", jpeg);
    row("x.jpeg", jpeg.first(jpeg.size() / 2));
    row("x.png", png);
    row("x.raw", QByteArray(10000, '\x55'));
    row("x.tga", QByteArray(10000, '\x55'));
    row("png.jpg", png);
    row("text.bmp", "This is no picture.\n");
    row("jpeg.mp3", jpeg);
    row("png.flac", png);
    row("001.jpg", jpeg);
    row("a%03d.jpg", jpeg);
    row("b%d.png", QByteArray());
    row("*.jpg", jpeg);
    row("%*.jpg", jpeg);
    row("{c,d}.jpg", jpeg);
    row("[cd].jpg", jpeg);
    row("?.jpg", jpeg);
}

void TestPlaylists::pictureHasNoSoundAndIsOpenedAlone()
{
    QFETCH(const QString, name);
    QFETCH(const QByteArray, content);
    chromaprint::FFmpegAudioReader reader;
    QVERIFY(!reader.Open(media.write(name, content).toStdString()));
    QCOMPARE(reading::errorOf(reader), QByteArray(kNoSound));
    QCOMPARE(reader.ErrorCode(), AVERROR_STREAM_NOT_FOUND);
    openedAlone();
}

QTEST_GUILESS_MAIN(TestPlaylists)
#include "tst_playlists.moc"
