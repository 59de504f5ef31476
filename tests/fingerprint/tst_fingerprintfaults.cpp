#include "faults.h"
#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/fingerprintcalculation.h"
#include "reading.h"
#include "support/media.h"
#include "support/standardstreams.h"

#include <QFile>
#include <QTest>

#include <stdexcept>
#include <thread>

using chromaprint::FFmpegAudioReader;
using reading::Decoded;
using reading::errorOf;
using reading::fingerprinted;
using reading::readToEnd;
using testmedia::MediaFolder;
using testmedia::StandardErrorCapture;

/**
 * Failures that no file brings about, made in the libraries' own functions (see faults.h), and what
 * can only be seen by counting calls.
 */
class TestFingerprintFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void failureOfALibraryCallInOpenIsReported_data();
    void failureOfALibraryCallInOpenIsReported();
    void failedAllocationsInOpenAreSilent_data();
    void failedAllocationsInOpenAreSilent();
    void decoderThatFailsIsADecodeError();
    void bufferThatCannotBeAllocatedIsReported();
    void conversionFailureOfAFrameHasNoDetail();
    void conversionFailureWhileDrainingHasTheDecodersReason();
    void converterThatCannotBeBuiltInTheMiddleIsReported();
    void matchingSourceGetsNoConverterAndPointsIntoTheFrame();
    void bufferIsSizedByTheDecodersChannelsAndAllocatedOnce();
    void converterIsDrainedExactlyOnce();
    void packetsOfOtherStreamsAreNeverDecoded();
    void emptyPacketWithSideDataIsReleased();
    void sampleFormatThatChangesIsFollowed();
    void fileIsOpenedTwice();
    void failureOfChromaprintIsPrintedAndThrown_data();
    void failureOfChromaprintIsPrintedAndThrown();
    void longRecordingIsCutAtTheLimit();
    void stopFromAnotherThreadEndsALongDecodeAtTheNextBlock();
    void stopEndsALongSearchForFrames();
    void stopWhileOpeningEndsTheCalculation();
    void stopWithinABlockEndsTheCalculation();
    void stopBehindTheLastBlockChangesNothing();
    void onlySoundIsProbedWherePicturesAreNotKnownToBeSmall_data();
    void onlySoundIsProbedWherePicturesAreNotKnownToBeSmall();

private:
    MediaFolder media;
    QString tune;
    QString plain;
};

namespace {

constexpr int kInvalidArgument = -22; // AVERROR(EINVAL)
constexpr int kNoMemory = -12;        // AVERROR(ENOMEM)

void setWorkingFormat(FFmpegAudioReader& reader)
{
    reader.SetOutputSampleRate(11025);
    reader.SetOutputChannels(1);
}

} // namespace

void TestFingerprintFaults::initTestCase()
{
    reading::silenceLibraries();
    tune = media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 6.0});
    plain = media.makeTune(QStringLiteral("plain.wav"),
                           {.seed = 1, .seconds = 6.0, .sampleRateHz = 11025, .channels = 1});
}

void TestFingerprintFaults::init()
{
    faults::reset();
}

void TestFingerprintFaults::failureOfALibraryCallInOpenIsReported_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("stream information")
        << QByteArray("avformat_find_stream_info")
        << QByteArray("Coud not find stream information in the file (Invalid argument)");
    QTest::newRow("stream parameters")
        << QByteArray("avcodec_parameters_to_context")
        << QByteArray("Could not copy the stream parameters (Invalid argument)");
    QTest::newRow("converter")
        << QByteArray("swr_init")
        << QByteArray("Could not create an audio converter instance (Invalid argument)");
}

void TestFingerprintFaults::failureOfALibraryCallInOpenIsReported()
{
    QFETCH(const QByteArray, function);
    QFETCH(const QByteArray, message);
    // The stream's parameters are copied within the library first.
    faults::failAfterProbing(function, kInvalidArgument);
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(!reader.Open(tune.toStdString()));
    QCOMPARE(errorOf(reader), message);
    QCOMPARE(reader.ErrorCode(), kInvalidArgument);
}

void TestFingerprintFaults::failedAllocationsInOpenAreSilent_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::newRow("packet") << QByteArray("av_packet_alloc");
    QTest::newRow("frame") << QByteArray("av_frame_alloc");
}

void TestFingerprintFaults::failedAllocationsInOpenAreSilent()
{
    QFETCH(const QByteArray, function);
    if (function == "av_frame_alloc") {
        faults::failAfterDump(function);
    } else {
        faults::failNext(function, 0);
    }
    FFmpegAudioReader reader;
    QVERIFY(!reader.Open(tune.toStdString()));
    QCOMPARE(errorOf(reader), QByteArray());
    QVERIFY(reader.Open(tune.toStdString()));
}

void TestFingerprintFaults::decoderThatFailsIsADecodeError()
{
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(tune.toStdString()));
    faults::failNext("avcodec_receive_frame", kNoMemory);
    QVERIFY(!readToEnd(reader).completed);
    QCOMPARE(errorOf(reader),
             QByteArray("Error decoding the audio source (Cannot allocate memory)"));
}

void TestFingerprintFaults::bufferThatCannotBeAllocatedIsReported()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(tune.toStdString()));
    faults::failNext("av_samples_alloc", kNoMemory);
    QVERIFY(!readToEnd(reader).completed);
    QCOMPARE(errorOf(reader),
             QByteArray("Couldn't allocate audio converter buffer (Cannot allocate memory)"));
    // The failed buffer is not written to: the rest of the file can still be read.
    QVERIFY(readToEnd(reader).completed);
}

void TestFingerprintFaults::conversionFailureOfAFrameHasNoDetail()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(tune.toStdString()));
    faults::failNext("swr_convert", kInvalidArgument);
    QVERIFY(!readToEnd(reader).completed);
    QCOMPARE(errorOf(reader), QByteArray("Couldn't convert audio"));
    QCOMPARE(reader.ErrorCode(), 0);
}

void TestFingerprintFaults::conversionFailureWhileDrainingHasTheDecodersReason()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(tune.toStdString()));
    faults::failDrain(kInvalidArgument);
    QVERIFY(!readToEnd(reader).completed);
    QCOMPARE(errorOf(reader),
             QByteArray("Couldn't convert audio (Resource temporarily unavailable)"));
    QCOMPARE(reader.ErrorCode(), -EAGAIN);
}

void TestFingerprintFaults::converterThatCannotBeBuiltInTheMiddleIsReported()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(plain.toStdString()));
    faults::changeFramesToWideSamples(3);
    faults::failNext("swr_init", kInvalidArgument);
    const Decoded decoded = readToEnd(reader);
    QVERIFY(!decoded.completed);
    QCOMPARE(decoded.blocks, 3);
    QCOMPARE(errorOf(reader),
             QByteArray("Could not create an audio converter instance (Invalid argument)"));
}

void TestFingerprintFaults::matchingSourceGetsNoConverterAndPointsIntoTheFrame()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(plain.toStdString()));
    int blocks = 0;
    while (!reader.AtEnd()) {
        const std::int16_t* samples = nullptr;
        std::size_t frames = 0;
        QVERIFY(reader.ReadBlock(&samples, &frames));
        if (frames > 0) {
            QCOMPARE(static_cast<const void*>(samples), faults::lastFrameData());
            ++blocks;
        }
    }
    QVERIFY(blocks > 10);
    QCOMPARE(faults::calls("swr_init"), 0);
    QCOMPARE(faults::calls("swr_convert"), 0);
}

void TestFingerprintFaults::bufferIsSizedByTheDecodersChannelsAndAllocatedOnce()
{
    const QString path =
        media.makeTune(QStringLiteral("six.m4a"),
                       {.seed = 1, .seconds = 6.0, .sampleRateHz = 44100, .channels = 6});
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(path.toStdString()));
    QVERIFY(readToEnd(reader).completed);
    QCOMPARE(faults::calls("av_samples_alloc"), 1);
    QCOMPARE(faults::lastBufferChannels(), 6);
    QCOMPARE(faults::lastBufferSamples(), 8192);
}

void TestFingerprintFaults::converterIsDrainedExactlyOnce()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(tune.toStdString()));
    QVERIFY(readToEnd(reader).completed);
    QCOMPARE(faults::calls("swr_convert, draining"), 1);
}

void TestFingerprintFaults::packetsOfOtherStreamsAreNeverDecoded()
{
    const QString film = media.makeFilm(QStringLiteral("film.mkv"), {.seed = 1, .seconds = 4.0});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(film.toStdString()));
    faults::reset();
    QVERIFY(readToEnd(reader).completed);
    QVERIFY(faults::calls("avcodec_send_packet") > 10);
    QCOMPARE(faults::decodersUsed(), 1);
}

void TestFingerprintFaults::emptyPacketWithSideDataIsReleased()
{
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(plain.toStdString()));
    faults::deliverEmptyPacket();
    const Decoded decoded = readToEnd(reader);
    QVERIFY(decoded.completed);
    QCOMPARE(decoded.frames, 6 * 11025);
    QCOMPARE(faults::packetsNotReleased(), 0);
}

void TestFingerprintFaults::sampleFormatThatChangesIsFollowed()
{
    FFmpegAudioReader reader;
    setWorkingFormat(reader);
    QVERIFY(reader.Open(plain.toStdString()));
    const Decoded unchanged = readToEnd(reader);
    // Every other stretch of frames comes as 32-bit samples of the same values.
    faults::changeFramesToWideSamples(3);
    QVERIFY(reader.Open(plain.toStdString()));
    const Decoded changed = readToEnd(reader);
    QVERIFY2(changed.completed, errorOf(reader).constData());
    QVERIFY(faults::calls("swr_init") >= 2);
    QCOMPARE(changed.samples, unchanged.samples);
}

void TestFingerprintFaults::fileIsOpenedTwice()
{
    QVERIFY(fingerprinted(tune).report.succeeded);
    QCOMPARE(faults::calls("avformat_open_input"), 2);
    QCOMPARE(faults::calls("av_log_set_level"), 2);
}

void TestFingerprintFaults::failureOfChromaprintIsPrintedAndThrown_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QByteArray>("line");
    const auto row = [](const char* function, const char* line) {
        QTest::newRow(function) << QByteArray(function) << QByteArray(line);
    };
    row("chromaprint_start", "ERROR: Could not initialize the fingerprinting process\n");
    row("chromaprint_feed", "ERROR: Could not process audio data\n");
    row("chromaprint_finish", "ERROR: Could not finish the fingerprinting process\n");
    row("chromaprint_get_raw_fingerprint_size", "ERROR: Could not get the fingerprinting size\n");
    row("chromaprint_get_raw_fingerprint", "ERROR: Could not get the fingerprinting\n");
}

void TestFingerprintFaults::failureOfChromaprintIsPrintedAndThrown()
{
    QFETCH(const QByteArray, function);
    QFETCH(const QByteArray, line);
    faults::failNext(function, 0);
    QList<quint32> words;
    QByteArray thrown;
    StandardErrorCapture capture;
    try {
        int number = 0;
        fpcalc_main(tune.toUtf8().constData(), words, number, number, number);
    } catch (const std::runtime_error& error) {
        thrown = error.what();
    }
    QCOMPARE(capture.take(), line);
    QCOMPARE(thrown, QByteArray("ERROR"));
    QCOMPARE(words, QList<quint32>());
    QCOMPARE(faults::calls("chromaprint_new"), 1);
    QCOMPARE(faults::calls("chromaprint_free"), 1);
}

void TestFingerprintFaults::longRecordingIsCutAtTheLimit()
{
    // 600,000 seconds at the lowest rate that the library takes; the null bytes cost no disk space.
    constexpr qint64 kRate = 1001;
    constexpr qint64 kBytes = 600000 * kRate * 2;
    QByteArray header = testmedia::wavFile({}, kRate, 1);
    header.replace(40, 4, QByteArray::fromHex("80379947")); // the number of bytes
    const QString path =
        media.writeSparse(QStringLiteral("days.wav"), header, kBytes + header.size());
    ChromaprintContext* context = faults::newContext();
    faults::countWithoutFeeding();
    FFmpegAudioReader reader; // the source's own rate
    QList<quint32> words;
    StandardErrorCapture capture;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                             ProcessFile(context, reader, path.toUtf8().constData(), words));
    QCOMPARE(capture.take(), QByteArray("ERROR: Empty fingerprint\n"));
    QCOMPARE(faults::samplesFed(), 500000 * kRate);
    QVERIFY(!reader.AtEnd());
    faults::freeContext(context);
}

void TestFingerprintFaults::stopFromAnotherThreadEndsALongDecodeAtTheNextBlock()
{
    // Five days of raw samples.
    const QString path = media.writeSparse(QStringLiteral("days.sw"), {}, 40000000000);
    std::stop_source stop;
    faults::onCall("chromaprint_feed", 1000,
                   [&stop] { std::thread([&stop] { stop.request_stop(); }).join(); });
    StandardErrorCapture capture;
    const fingerprint::CalculationReport report =
        fingerprint::fingerprintFile(path, stop.get_token()).report;
    QCOMPARE(capture.take(), QByteArray());
    QVERIFY(report.stopped);
    QVERIFY(!report.succeeded);
    QCOMPARE(report.messages, QByteArrayList());
    QCOMPARE(faults::calls("chromaprint_feed"), 1000);
    QCOMPARE(faults::calls("chromaprint_finish"), 0);
}

/**
 * A song, then hundreds of gigabytes in which the demuxer searches for the next frame, all in one
 * call: only FFmpeg's own question, whether to go on, can end this.
 */
void TestFingerprintFaults::stopEndsALongSearchForFrames()
{
    const QString path =
        media.writeSparse(QStringLiteral("tail.mp3"), testmedia::contentOf(tune), 800000000000);
    std::stop_source stop;
    FFmpegAudioReader reader;
    reader.SetStopToken(stop.get_token());
    QVERIFY(reader.Open(path.toStdString()));
    constexpr int kReadsBehindTheSong = 200;
    faults::onCall("read", kReadsBehindTheSong, [&stop] { stop.request_stop(); });
    const Decoded decoded = readToEnd(reader);
    QVERIFY(stop.stop_requested());
    QVERIFY(!decoded.completed);
    QVERIFY(decoded.frames > 5 * 44100);
    QCOMPARE(errorOf(reader),
             QByteArray("Error reading from the audio source (Immediate exit requested)"));
    QVERIFY2(faults::calls("read") <= kReadsBehindTheSong + 1,
             qPrintable(QString::number(faults::calls("read"))));
}

void TestFingerprintFaults::stopWhileOpeningEndsTheCalculation()
{
    std::stop_source stop;
    stop.request_stop();
    const fingerprint::CalculationReport report =
        fingerprint::fingerprintFile(tune, stop.get_token()).report;
    QVERIFY(report.stopped);
    QCOMPARE(report.messages, QByteArrayList());
    QCOMPARE(faults::calls("chromaprint_new"), 0);
}

void TestFingerprintFaults::stopWithinABlockEndsTheCalculation()
{
    std::stop_source stop;
    faults::onCall("av_read_frame", 30, [&stop] { stop.request_stop(); });
    const auto [record, report, facts] = fingerprint::fingerprintFile(plain, stop.get_token());
    QVERIFY(stop.stop_requested());
    QVERIFY(faults::calls("chromaprint_feed") > 0);
    QCOMPARE(faults::calls("chromaprint_finish"), 0);
    QVERIFY(report.stopped);
    QVERIFY(!report.succeeded);
    QCOMPARE(report.messages, QByteArrayList());
    QVERIFY(reading::isFailure(record, plain));
}

/** Then the fingerprint is whole, and may be kept. */
void TestFingerprintFaults::stopBehindTheLastBlockChangesNothing()
{
    const FingerprintRecord whole = reading::recordOf(plain);
    faults::reset();
    std::stop_source stop;
    faults::onCall("chromaprint_finish", 1, [&stop] { stop.request_stop(); });
    const auto [record, report, facts] = fingerprint::fingerprintFile(plain, stop.get_token());
    QVERIFY(stop.stop_requested());
    QVERIFY(report.succeeded);
    QVERIFY(!report.stopped);
    QCOMPARE(record, whole);
}

void TestFingerprintFaults::onlySoundIsProbedWherePicturesAreNotKnownToBeSmall_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("size");
    QTest::addColumn<bool>("isStandardInput");
    QTest::addColumn<bool>("soundOnly");
    const auto row = [](const char* description, const char* name, const char* size,
                        bool isStandardInput, bool soundOnly) {
        QTest::newRow(description) << QString::fromLatin1(name) << QString::fromLatin1(size)
                                   << isStandardInput << soundOnly;
    };
    row("small film, no header", "small.ts", "160x120", false, false);
    row("large film, no header", "large.ts", "6000x4000", false, true);
    row("large film, header", "large.mkv", "6000x4000", false, false);
    row("small film from a pipe", "small.ts", "160x120", true, true);
}

void TestFingerprintFaults::onlySoundIsProbedWherePicturesAreNotKnownToBeSmall()
{
    QFETCH(const QString, name);
    QFETCH(const QString, size);
    QFETCH(const bool, isStandardInput);
    QFETCH(const bool, soundOnly);
    const QString path = media.filePath(name);
    testmedia::runFfmpeg({QStringLiteral("-i"), tune, QStringLiteral("-f"), QStringLiteral("lavfi"),
                          QStringLiteral("-i"), QStringLiteral("color=r=1:d=6:s=") + size,
                          QStringLiteral("-c:v"), QStringLiteral("libx264"),
                          QStringLiteral("-preset"), QStringLiteral("ultrafast"),
                          QStringLiteral("-c:a"), QStringLiteral("copy"), path});
    QFile file(path);
    QVERIFY(file.open(QFile::ReadOnly));
    const testmedia::StandardInputReplacement replacement(file.handle());
    FFmpegAudioReader reader;
    QVERIFY2(reader.Open(isStandardInput ? "pipe:0" : path.toStdString()),
             errorOf(reader).constData());
    QCOMPARE(faults::probedSoundOnly(), soundOnly);
    QVERIFY(readToEnd(reader).frames > 5 * 44100);
}

QTEST_GUILESS_MAIN(TestFingerprintFaults)
#include "tst_fingerprintfaults.moc"
