#include "fingerprint/ffmpegaudioreader.h"
#include "reading.h"
#include "support/media.h"

#include <QTest>
#include <QtEndian>

#include <sys/stat.h>
#include <unistd.h>

using chromaprint::FFmpegAudioReader;
using reading::Decoded;
using reading::errorOf;
using reading::openError;
using reading::readToEnd;
using testmedia::MediaFolder;
using testmedia::Tune;
using testmedia::wavFile;

/** Opening, reading to the end, what is reported about the source, and every error there is. */
class TestFFmpegAudioReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void newReaderIsClosedAndNotAtEnd();
    void readingBeforeOpenFailsWithoutAMessage();
    void sixteenBitSourceIsHandedOutUnchanged();
    void sourceRateAndChannelsAreReportedWhenNoneAreRequested_data();
    void sourceRateAndChannelsAreReportedWhenNoneAreRequested();
    void requestedRateAndChannelsAreDelivered_data();
    void requestedRateAndChannelsAreDelivered();
    void emptyAudioStreamEndsWithoutAnError_data();
    void emptyAudioStreamEndsWithoutAnError();
    void packetsOfOtherStreamsAreSkipped();
    void fileWithoutAudioFailsForWantOfAnAudioStream_data();
    void fileWithoutAudioFailsForWantOfAnAudioStream();
    void fileThatCannotBeOpenedIsToldWithTheReason_data();
    void fileThatCannotBeOpenedIsToldWithTheReason();
    void unreadableFileIsToldWithTheReason();
    void codecThatRefusesTheStreamIsReported();
    void sourceThatCannotBeConvertedIsReported();
    void brokenPacketIsAReadError();
    void brokenEndIsADecodeError();
    void closeKeepsTheErrorAndTheOutputFormat();
    void readerCanBeOpenedAgain();
    void failedOpenAfterASuccessfulOneLeavesNothingToRead();
    void durationIsThatOfTheStream();
    void durationFallsBackToTheContainer();
    void durationIsUnknownWhenNothingTellsIt();

private:
    MediaFolder media;
};

namespace {

const Tune kShort = {.seed = 1, .seconds = 3.0};

/** A WAV header of any values, before \a data. */
QByteArray waveFile(quint16 tag, quint16 channels, quint32 rateHz, quint16 bits, quint16 blockAlign,
                    const QByteArray& data, const QByteArray& extension = {})
{
    const auto number = [](auto value) {
        QByteArray bytes(static_cast<qsizetype>(sizeof(value)), '\0');
        qToLittleEndian(value, bytes.data());
        return bytes;
    };
    const QByteArray format = number(tag) + number(channels) + number(rateHz) +
                              number(rateHz * blockAlign) + number(blockAlign) + number(bits) +
                              extension;
    return "RIFF" + number(static_cast<quint32>(data.size() + format.size() + 20)) + "WAVEfmt " +
           number(static_cast<quint32>(format.size())) + format + "data" +
           number(static_cast<quint32>(data.size())) + data;
}

} // namespace

void TestFFmpegAudioReader::initTestCase()
{
    reading::silenceLibraries();
    media.makeTune(QStringLiteral("tune.mp3"), kShort);
    media.makePicture(QStringLiteral("picture.png"));
}

void TestFFmpegAudioReader::newReaderIsClosedAndNotAtEnd()
{
    const FFmpegAudioReader reader;
    QVERIFY(!reader.AtEnd());
    QCOMPARE(reader.OutputSampleRate(), 0);
    QCOMPARE(reader.OutputChannels(), 0);
    QCOMPARE(reader.DurationMs(), -1);
    QCOMPARE(errorOf(reader), QByteArray());
    QCOMPARE(reader.ErrorCode(), 0);
}

void TestFFmpegAudioReader::readingBeforeOpenFailsWithoutAMessage()
{
    FFmpegAudioReader reader;
    const std::int16_t* samples = nullptr;
    std::size_t frames = 0;
    QVERIFY(!reader.ReadBlock(&samples, &frames));
    QCOMPARE(errorOf(reader), QByteArray());
}

void TestFFmpegAudioReader::sixteenBitSourceIsHandedOutUnchanged()
{
    const QByteArray original = testmedia::samplesOf(kShort);
    const QString path = media.write(QStringLiteral("plain.wav"), wavFile(original, 44100, 2));
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path.toStdString()));
    const Decoded decoded = readToEnd(reader);
    QVERIFY(decoded.completed);
    QCOMPARE(decoded.samples, original);
}

void TestFFmpegAudioReader::sourceRateAndChannelsAreReportedWhenNoneAreRequested_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::newRow("mono") << QStringLiteral("a.flac") << 8000 << 1;
    QTest::newRow("stereo") << QStringLiteral("b.mp3") << 48000 << 2;
    QTest::newRow("six channels") << QStringLiteral("c.m4a") << 44100 << 6;
    QTest::newRow("high rate") << QStringLiteral("d.wav") << 192000 << 2;
}

void TestFFmpegAudioReader::sourceRateAndChannelsAreReportedWhenNoneAreRequested()
{
    QFETCH(const QString, name);
    QFETCH(const int, rate);
    QFETCH(const int, channels);
    const QString path = media.makeTune(
        name, {.seed = 1, .seconds = 1.0, .sampleRateHz = rate, .channels = channels});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path.toStdString()));
    QCOMPARE(reader.OutputSampleRate(), rate);
    QCOMPARE(reader.OutputChannels(), channels);
    const Decoded decoded = readToEnd(reader);
    QVERIFY(decoded.completed);
    QVERIFY(decoded.frames > rate * 9 / 10 && decoded.frames < rate * 12 / 10);
}

void TestFFmpegAudioReader::requestedRateAndChannelsAreDelivered_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("sourceRate");
    QTest::addColumn<int>("sourceChannels");
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    QTest::newRow("downwards") << QStringLiteral("r1.mp3") << 44100 << 2 << 11025 << 1;
    QTest::newRow("upwards") << QStringLiteral("r2.flac") << 8000 << 2 << 48000 << 1;
    QTest::newRow("from six channels") << QStringLiteral("r3.m4a") << 48000 << 6 << 11025 << 2;
    QTest::newRow("rate only") << QStringLiteral("r4.wav") << 44100 << 2 << 11025 << 2;
    QTest::newRow("channels only") << QStringLiteral("r5.wav") << 44100 << 2 << 44100 << 1;
}

void TestFFmpegAudioReader::requestedRateAndChannelsAreDelivered()
{
    QFETCH(const QString, name);
    QFETCH(const int, sourceRate);
    QFETCH(const int, sourceChannels);
    QFETCH(const int, rate);
    QFETCH(const int, channels);
    const QString path = media.makeTune(
        name, {.seed = 2, .seconds = 3.0, .sampleRateHz = sourceRate, .channels = sourceChannels});
    FFmpegAudioReader reader;
    reader.SetOutputSampleRate(rate);
    reader.SetOutputChannels(channels);
    QVERIFY(reader.Open(path.toStdString()));
    QCOMPARE(reader.OutputSampleRate(), rate);
    QCOMPARE(reader.OutputChannels(), channels);
    const Decoded decoded = readToEnd(reader);
    QVERIFY(decoded.completed);
    // What the converter keeps beyond one buffer at the end is not fetched.
    QVERIFY2(decoded.frames > rate * 5 / 2 && decoded.frames < rate * 7 / 2,
             qPrintable(QString::number(decoded.frames)));
}

void TestFFmpegAudioReader::emptyAudioStreamEndsWithoutAnError_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("rate");
    QTest::newRow("without a converter") << wavFile({}, 44100, 2) << 0;
    QTest::newRow("with a converter for the rate") << wavFile({}, 44100, 2) << 11025;
    QTest::newRow("with a converter for the format") << waveFile(3, 2, 44100, 32, 8, {}) << 0;
}

void TestFFmpegAudioReader::emptyAudioStreamEndsWithoutAnError()
{
    QFETCH(const QByteArray, content);
    QFETCH(const int, rate);
    const QString path = media.write(QStringLiteral("empty stream.wav"), content);
    FFmpegAudioReader reader;
    reader.SetOutputSampleRate(rate);
    QVERIFY2(reader.Open(path.toStdString()), errorOf(reader).constData());
    QVERIFY(!reader.AtEnd());
    const Decoded decoded = readToEnd(reader);
    QVERIFY2(decoded.completed, errorOf(reader).constData());
    QVERIFY(reader.AtEnd());
    QCOMPARE(decoded.frames, 0);
    QCOMPARE(errorOf(reader), QByteArray());
}

void TestFFmpegAudioReader::packetsOfOtherStreamsAreSkipped()
{
    const QString film = media.makeFilm(QStringLiteral("film.mkv"), kShort,
                                        {QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(film.toStdString()));
    const Decoded decoded = readToEnd(reader);
    QVERIFY(decoded.completed);
    QCOMPARE(decoded.samples, testmedia::samplesOf(kShort));
}

void TestFFmpegAudioReader::fileWithoutAudioFailsForWantOfAnAudioStream_data()
{
    QTest::addColumn<QString>("path");
    const auto copy = [this](const char* name, const QByteArray& content) {
        QTest::newRow(name) << media.write(QString::fromUtf8(name), content);
    };
    copy("picture.mp3", testmedia::contentOf(media.filePath(QStringLiteral("picture.png"))));
    copy("picture.m4a", testmedia::contentOf(media.filePath(QStringLiteral("picture.png"))));
    for (const QString& kind :
         {QStringLiteral("jpg"), QStringLiteral("bmp"), QStringLiteral("gif")}) {
        const QString picture = media.makePicture(QStringLiteral("picture.") + kind);
        copy(qPrintable(kind + QStringLiteral(".flac")), testmedia::contentOf(picture));
    }
    const QByteArray text =
        QByteArray("The quick brown fox jumps over the lazy dog.\n").repeated(2000);
    for (const char* name : {"text.mp3", "text.flac", "text.ac3", "text.shn", "text.tak"}) {
        copy(name, text);
    }
    copy("subtitles.mks", "1\n00:00:00,000 --> 00:00:01,000\nHello\n");
    copy("link.apl", "[Monkey's Audio Image Link File]\n");
    copy("empty.flac", {});
    for (const QString& name : {QStringLiteral("silent.mp4"), QStringLiteral("silent.mkv"),
                                QStringLiteral("silent.avi"), QStringLiteral("silent.avif")}) {
        QTest::newRow(qPrintable(name)) << media.makePicture(name);
    }
    copy("unknown codec.wav", waveFile(0x7777, 2, 44100, 16, 4, QByteArray(40000, 'x')));
}

void TestFFmpegAudioReader::fileWithoutAudioFailsForWantOfAnAudioStream()
{
    QFETCH(const QString, path);
    const QByteArray error = openError(path);
    QVERIFY2(error == "Could not find any audio stream in the file (Stream not found)" ||
                 error == "Could not find any audio stream in the file (Decoder not found)",
             error.constData());
}

void TestFFmpegAudioReader::fileThatCannotBeOpenedIsToldWithTheReason_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("reason");
    const QByteArray invalid = "Invalid data found when processing input";
    QTest::newRow("missing") << media.path() + QStringLiteral("/missing.mp3")
                             << QByteArray("No such file or directory");
    QTest::newRow("missing folder")
        << QStringLiteral("/no/such/folder.mp3") << QByteArray("No such file or directory");
    QTest::newRow("below a file") << media.path() + QStringLiteral("/tune.mp3/tune.mp3")
                                  << QByteArray("Not a directory");
    QTest::newRow("name too long")
        << media.path() + u'/' + QString(300, u'x') << QByteArray("File name too long");
    QTest::newRow("no name") << QString() << QByteArray("No such file or directory");
    QTest::newRow("empty") << media.write(QStringLiteral("empty.wav"), {}) << invalid;
    QTest::newRow("text") << media.write(QStringLiteral("text.wav"), "some text\n") << invalid;
    QTest::newRow("film without its end")
        << media.truncate(QStringLiteral("cut.m4a"),
                          media.makeTune(QStringLiteral("whole.m4a"), kShort), 0.6)
        << invalid;
}

void TestFFmpegAudioReader::fileThatCannotBeOpenedIsToldWithTheReason()
{
    QFETCH(const QString, path);
    QFETCH(const QByteArray, reason);
    QCOMPARE(openError(path), QByteArray("Could not open the input file (" + reason + ")"));
}

void TestFFmpegAudioReader::unreadableFileIsToldWithTheReason()
{
    const QString path = media.write(QStringLiteral("locked.mp3"), "x");
    chmod(path.toUtf8().constData(), 0);
    chmod(media.path().toUtf8().constData(), 0755);
    const bool privileged = geteuid() == 0;
    // An administrator reads everything, so the file is opened as nobody.
    QVERIFY(!privileged || seteuid(65534) == 0);
    const QByteArray error = openError(path);
    QVERIFY(!privileged || seteuid(0) == 0);
    QCOMPARE(error, QByteArray("Could not open the input file (Permission denied)"));
}

void TestFFmpegAudioReader::codecThatRefusesTheStreamIsReported()
{
    // This codec has no more than two channels.
    const QString path = media.write(QStringLiteral("three.wav"),
                                     waveFile(0x11, 3, 44100, 4, 1024, QByteArray(40960, 'x'),
                                              QByteArray("\x02\x00\xF9\x03", 4)));
    // FFmpeg 7 finds out earlier, and does not count the stream.
    const QByteArray error = openError(path);
    QVERIFY2(error == "Could not open the codec (Invalid argument)" ||
                 error == "Could not find any audio stream in the file (Stream not found)",
             error.constData());
}

void TestFFmpegAudioReader::sourceThatCannotBeConvertedIsReported()
{
    for (const quint16 channels : {quint16{208}, quint16{512}}) {
        const auto align = static_cast<quint16>(channels * 4);
        const QString path = media.write(
            QStringLiteral("many.wav"),
            waveFile(3, channels, 44100, 32, align, QByteArray(qsizetype{8} * align, '\0')));
        QCOMPARE(openError(path),
                 QByteArray("Could not create an audio converter instance (Invalid argument)"));
    }
}

void TestFFmpegAudioReader::brokenPacketIsAReadError()
{
    const QString whole = media.makeTune(QStringLiteral("whole.flac"), kShort);
    const QString cut = media.truncate(QStringLiteral("cut.flac"), whole, 0.6);
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(cut.toStdString()));
    const Decoded decoded = readToEnd(reader);
    QVERIFY(!decoded.completed);
    QCOMPARE(errorOf(reader), QByteArray("Error reading from the audio source "
                                         "(Invalid data found when processing input)"));
    QVERIFY(reader.ErrorCode() < 0);
    QVERIFY(decoded.frames > 44100);
}

void TestFFmpegAudioReader::brokenEndIsADecodeError()
{
    // The last three bytes are no sample of all three channels.
    const QString path = media.write(QStringLiteral("odd.wav"),
                                     waveFile(1, 3, 44100, 16, 6, QByteArray(600003, '\1')));
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path.toStdString()));
    const Decoded decoded = readToEnd(reader);
    QVERIFY(!decoded.completed);
    QCOMPARE(errorOf(reader), QByteArray("Error decoding the audio source "
                                         "(Invalid data found when processing input)"));
    QVERIFY(decoded.frames > 90000);
}

void TestFFmpegAudioReader::closeKeepsTheErrorAndTheOutputFormat()
{
    FFmpegAudioReader reader;
    QVERIFY(!reader.Open("/no/such/file"));
    const QByteArray error = errorOf(reader);
    const int code = reader.ErrorCode();
    reader.Close();
    QCOMPARE(errorOf(reader), error);
    QCOMPARE(reader.ErrorCode(), code);
    QVERIFY(reader.Open(media.filePath(QStringLiteral("tune.mp3")).toStdString()));
    reader.Close();
    reader.Close();
    QCOMPARE(errorOf(reader), error);
    QCOMPARE(reader.OutputSampleRate(), 44100);
    QCOMPARE(reader.DurationMs(), -1);
}

void TestFFmpegAudioReader::readerCanBeOpenedAgain()
{
    const std::string path = media.filePath(QStringLiteral("tune.mp3")).toStdString();
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path));
    const Decoded first = readToEnd(reader);
    QVERIFY(reader.AtEnd());
    QVERIFY(reader.Open(path));
    QVERIFY(!reader.AtEnd());
    QCOMPARE(readToEnd(reader).samples, first.samples);
}

void TestFFmpegAudioReader::failedOpenAfterASuccessfulOneLeavesNothingToRead()
{
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(media.filePath(QStringLiteral("tune.mp3")).toStdString()));
    QVERIFY(!reader.Open("/no/such/file"));
    const std::int16_t* samples = nullptr;
    std::size_t frames = 0;
    QVERIFY(!reader.ReadBlock(&samples, &frames));
}

void TestFFmpegAudioReader::durationIsThatOfTheStream()
{
    const QString path = media.makeFilm(
        QStringLiteral("longfilm.mp4"), {.seed = 1, .seconds = 2.0},
        {QStringLiteral("-vf"), QStringLiteral("tpad=stop_duration=6:stop_mode=clone")});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path.toStdString()));
    // The container lasts as long as its film, the sound ends before.
    QVERIFY2(reader.DurationMs() >= 2000 && reader.DurationMs() < 2100,
             qPrintable(QString::number(reader.DurationMs())));
}

void TestFFmpegAudioReader::durationFallsBackToTheContainer()
{
    const QString path = media.makeTune(QStringLiteral("tune.mka"), kShort,
                                        {QStringLiteral("-c:a"), QStringLiteral("flac")});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path.toStdString()));
    QVERIFY2(reader.DurationMs() >= 3000 && reader.DurationMs() < 3100,
             qPrintable(QString::number(reader.DurationMs())));
}

void TestFFmpegAudioReader::durationIsUnknownWhenNothingTellsIt()
{
    FFmpegAudioReader silent;
    QVERIFY(!silent.Open(media.makePicture(QStringLiteral("film.mkv")).toStdString()));
    QCOMPARE(silent.DurationMs(), -1);
    const QString path =
        media.makeTune(QStringLiteral("live.mka"), kShort,
                       {QStringLiteral("-c:a"), QStringLiteral("flac"), QStringLiteral("-live"),
                        QStringLiteral("1"), QStringLiteral("-f"), QStringLiteral("matroska")});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(path.toStdString()));
    QCOMPARE(reader.DurationMs(), -1);
    QVERIFY(readToEnd(reader).frames > qint64{2} * 44100);
}

QTEST_GUILESS_MAIN(TestFFmpegAudioReader)
#include "tst_ffmpegaudioreader.moc"
