#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/picturesizes.h"
#include "reading.h"
#include "support/media.h"

#include <QTest>

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavformat/avformat.h>
}

using testmedia::MediaFolder;

/**
 * The stream that is read, and what is told of it, are those of FFmpeg without any options. The
 * calls that say so are made here once more, plainly.
 */
class TestStreamChoice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void streamIsTheOneThatFFmpegPicksWithoutOptions_data();
    void streamIsTheOneThatFFmpegPicksWithoutOptions();
    void picturesAreMeasuredBeforeTheyAreDecoded_data();
    void picturesAreMeasuredBeforeTheyAreDecoded();

private:
    QString makeTwoTunes(const QString& name, double secondStarts, const QStringList& arguments,
                         const QString& size = QStringLiteral("160x120"));

    MediaFolder media;
};

namespace {

struct Properties
{
    int error = 0;
    int stream = -1;
    int sampleRateHz = 0;
    int channels = 0;
    int durationMs = -1;

    QByteArray text() const
    {
        return "error " + QByteArray::number(error) + ", stream " + QByteArray::number(stream) +
               ", " + QByteArray::number(sampleRateHz) + " Hz, " + QByteArray::number(channels) +
               " channels, " + QByteArray::number(durationMs) + " ms";
    }
};

/** What the best stream of the opened \a context is. */
Properties propertiesOf(AVFormatContext* context)
{
    Properties properties;
    properties.stream = av_find_best_stream(context, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (properties.stream < 0) {
        properties.error = properties.stream;
        return properties;
    }
    const AVStream& stream = *context->streams[properties.stream];
    properties.sampleRateHz = stream.codecpar->sample_rate;
    properties.channels = stream.codecpar->ch_layout.nb_channels;
    if (stream.duration != AV_NOPTS_VALUE) {
        properties.durationMs = static_cast<int>(qint64{stream.time_base.num} * 1000 *
                                                 stream.duration / stream.time_base.den);
    } else if (context->duration != AV_NOPTS_VALUE) {
        properties.durationMs = static_cast<int>(context->duration / 1000);
    }
    return properties;
}

Properties plainProperties(const QString& path)
{
    AVFormatContext* context = nullptr;
    const QByteArray url = "file:" + path.toUtf8();
    int result = avformat_open_input(&context, url.constData(), nullptr, nullptr);
    if (result >= 0) {
        result = avformat_find_stream_info(context, nullptr);
    }
    const Properties properties = result < 0 ? Properties{.error = result} : propertiesOf(context);
    avformat_close_input(&context);
    return properties;
}

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
}

} // namespace

void TestStreamChoice::initTestCase()
{
    reading::silenceLibraries();
}

/** A film of 14 seconds, a quiet mono tune, and a rich one of six channels that starts later. */
QString TestStreamChoice::makeTwoTunes(const QString& name, double secondStarts,
                                       const QStringList& arguments, const QString& film)
{
    const QString path = media.filePath(name);
    testmedia::runFfmpeg(
        QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                    QStringLiteral("testsrc2=d=14:") + film} +
        words("-f lavfi -i sine=440:r=48000:d=14 -itsoffset") +
        QStringList{QString::number(secondStarts)} +
        words("-f lavfi -i sine=880:r=48000:d=6 -map 0 -map 1 -map 2 -c:a:0 mp2 -ac:a:0 1 "
              "-b:a:0 64k -c:a:1 ac3 -ac:a:1 6 -b:a:1 448k") +
        arguments + QStringList{path});
    return path;
}

void TestStreamChoice::streamIsTheOneThatFFmpegPicksWithoutOptions_data()
{
    QTest::addColumn<QString>("path");
    const auto row = [this](const char* suffix, const char* arguments, double secondStarts,
                            const char* film = "s=160x120:r=10") {
        const QByteArray name = QByteArray(suffix) + ", " + film + ", second tune after " +
                                QByteArray::number(secondStarts) + " s";
        QTest::newRow(name.constData())
            << makeTwoTunes(QString::fromLatin1(name) + u'.' + QString::fromLatin1(suffix),
                            secondStarts, words(arguments), QString::fromLatin1(film));
    };
    for (const double secondStarts : {3.0, 5.5, 6.5, 8.0}) {
        row("ts", "-c:v libx264 -preset ultrafast", secondStarts);
        row("m2ts", "-mpegts_m2ts_mode 1 -c:v mpeg2video", secondStarts);
        row("mpg", "-f mpeg -c:v mpeg2video -r 25", secondStarts);
        row("vob", "-f vob -c:v mpeg2video -r 25", secondStarts);
        row("wtv", "-c:v mpeg2video -r 25", secondStarts);
    }
    for (const double secondStarts : {0.0, 5.5}) {
        row("mkv", "-c:v libx264 -preset ultrafast", secondStarts);
        row("mp4", "-c:v mpeg4", secondStarts);
        row("mov", "-c:v mpeg4 -c:a:0 aac", secondStarts);
        row("asf", "-c:v msmpeg4", secondStarts);
        row("avi", "-c:v mpeg4", secondStarts);
        row("nut", "-c:v ffv1", secondStarts);
    }
    // Large, but below the limit.
    for (const char* suffix : {"ts", "mkv", "mp4"}) {
        row(suffix, "-c:v libx264 -preset ultrafast", 5.5, "s=4096x2160:r=1");
    }
    QTest::newRow("flv") << media.makeFilm(QStringLiteral("film.flv"), {.seed = 1, .seconds = 8.0},
                                           words("-c:v flv -c:a aac"));
    QTest::newRow("swf") << media.makeFilm(QStringLiteral("film.swf"), {.seed = 1, .seconds = 8.0});
    QTest::newRow("dv") << media.makeFilm(QStringLiteral("film.dv"), {.seed = 1, .seconds = 4.0},
                                          words("-target pal-dv -ar 48000"));
}

void TestStreamChoice::streamIsTheOneThatFFmpegPicksWithoutOptions()
{
    QFETCH(const QString, path);
    chromaprint::FFmpegAudioReader reader;
    QVERIFY2(reader.Open(path.toStdString()), reading::errorOf(reader).constData());
    const Properties plain = plainProperties(path);
    QCOMPARE(Properties({.stream = plain.stream,
                         .sampleRateHz = reader.OutputSampleRate(),
                         .channels = reader.OutputChannels(),
                         .durationMs = reader.DurationMs()})
                 .text(),
             plain.text());
}

void TestStreamChoice::picturesAreMeasuredBeforeTheyAreDecoded_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("areSmall");
    const auto film = [this](const char* name, bool areSmall, const char* size,
                             const char* arguments) {
        const QString path = media.filePath(QString::fromLatin1(name));
        testmedia::runFfmpeg(
            QStringList{QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                        QStringLiteral("testsrc2=r=25:s=") + QString::fromLatin1(size)} +
            words(arguments) + QStringList{path});
        QTest::newRow(name) << path << areSmall;
    };
    QTest::newRow("no film") << media.makeTune(QStringLiteral("tune.ts"), {.seconds = 2.0}) << true;
    film("h264.ts", true, "160x120", "-frames:v 20 -c:v libx264");
    film("mpeg2.mpg", true, "160x120", "-frames:v 20 -c:v mpeg2video");
    film("mpeg4.ts", true, "160x120", "-frames:v 20 -c:v mpeg4");
    film("decoded.dv", true, "720x576", "-frames:v 5 -target pal-dv");
    film("wide.ts", true, "4096x2160", "-frames:v 3 -c:v libx264 -preset ultrafast");
    film("large.ts", false, "6000x4000", "-frames:v 3 -c:v libx264 -preset ultrafast");
    film("large.mpg", false, "6000x4000", "-frames:v 3 -c:v mpeg2video -strict -2");
    film("large mpeg4.ts", false, "6000x4000", "-frames:v 3 -c:v mpeg4");
    film("two.ts", false, "4096x2160",
         "-map 0 -map 0 -map 0 -frames:v 3 -c:v libx264 -preset ultrafast");
    film("of unknown size.ts", false, "160x120",
         "-frames:v 20 -c:v libx264 -bsf:v filter_units=remove_types=7");
    film("jpeg.jpg", true, "6000x4000", "-frames:v 1");
}

void TestStreamChoice::picturesAreMeasuredBeforeTheyAreDecoded()
{
    QFETCH(const QString, path);
    QFETCH(const bool, areSmall);
    AVFormatContext* context = nullptr;
    const AVInputFormat* format =
        path.endsWith(u".jpg") ? av_find_input_format("jpeg_pipe") : nullptr;
    QVERIFY(avformat_open_input(&context, ("file:" + path.toUtf8()).constData(), format, nullptr) ==
            0);
    const bool measuredSmall = chromaprint::picturesAreSmall(context);
    avformat_close_input(&context);
    QCOMPARE(measuredSmall, areSmall);
}

QTEST_GUILESS_MAIN(TestStreamChoice)
#include "tst_streamchoice.moc"
