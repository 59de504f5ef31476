#include "fingerprint/fingerprintcalculation.h"

#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/mediaduration.h"
#include "reading.h"
#include "support/media.h"
#include "support/standardstreams.h"

#include <QTest>

#include <chromaprint.h>

#include <chrono>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <unistd.h>

using chromaprint::FFmpegAudioReader;
using reading::Fingerprinted;
using reading::fingerprinted;
using testmedia::MediaFolder;
using testmedia::StandardErrorCapture;
using testmedia::StandardInputReplacement;

/** The fingerprint of one file, and how failures are reported. */
class TestFingerprintCalculation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void fingerprintIsThatOfTheDecodedSamples();
    void sampleRateAndChannelsAreTheSources();
    void fingerprintIsAppended();
    void printingAndReportingVariantsAgree();
    void propertiesAreWrittenBeforeTheFingerprintFails();
    void audioThatDecodesToNothingIsNotEnough();
    void tooShortAudioGivesAnEmptyFingerprint();
    void failureIsPrintedAndThrown_data();
    void failureIsPrintedAndThrown();
    void truncatedFileGivesTheFingerprintBeforeTheBreak();
    void missingNameIsALogicError();
    void dashIsReadFromStandardInput();
    void dashIsAnOrdinaryNameForTheWholeCalculation();
    void rateThatChromaprintRefusesIsReported();
    void contextThatIsNoneIsReported();
    void emptyFingerprintOfALaterChunkIsNoError();
    void printResultAppendsTheContextsWords();
    void durationFollowsTheTimeBase_data();
    void durationFollowsTheTimeBase();
    void durationOfTheContainerIsTakenWhereTheStreamHasNone();
    void durationIsMinusOneWhenTheFileHasNone();
    void durationThatOverflowsWraps();
    void timestampIsTheSystemClocks();

private:
    MediaFolder media;
};

namespace {

struct ContextDeleter
{
    void operator()(ChromaprintContext* context) const
    {
        chromaprint_free(context);
    }
};
using Context = std::unique_ptr<ChromaprintContext, ContextDeleter>;

/** What fpcalc_main() writes, set to values that it never gives. */
struct Written
{
    QList<quint32> words;
    int durationMs = -77;
    int sampleRateHz = -77;
    int channels = -77;
};

void fingerprintInto(Written& written, const QString& path)
{
    fpcalc_main(path.toUtf8().constData(), written.words, written.durationMs, written.sampleRateHz,
                written.channels);
}

/** The words that the library gives for samples it is fed in one piece. */
QList<quint32> fedDirectly(const QByteArray& samples)
{
    const Context context(chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT));
    chromaprint_start(context.get(), 11025, 1);
    chromaprint_feed(context.get(), reinterpret_cast<const std::int16_t*>(samples.constData()),
                     static_cast<int>(samples.size() / 2));
    chromaprint_finish(context.get());
    quint32* raw = nullptr;
    int size = 0;
    chromaprint_get_raw_fingerprint(context.get(), &raw, &size);
    const QList<quint32> words(raw, raw + size);
    chromaprint_dealloc(raw);
    return words;
}

} // namespace

void TestFingerprintCalculation::initTestCase()
{
    media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 12.0});
    media.makeTune(QStringLiteral("tune.flac"), {.seed = 1, .seconds = 12.0});
    media.write(QStringLiteral("nothing.wav"), testmedia::wavFile({}, 44100, 2));
}

void TestFingerprintCalculation::fingerprintIsThatOfTheDecodedSamples()
{
    const QByteArray samples =
        testmedia::samplesOf({.seed = 5, .seconds = 30.0, .sampleRateHz = 11025, .channels = 1});
    const QString path =
        media.write(QStringLiteral("plain.wav"), testmedia::wavFile(samples, 11025, 1));
    const Fingerprinted result = fingerprinted(path);
    QVERIFY(result.report.succeeded);
    QVERIFY(result.words.size() > 200);
    QCOMPARE(result.words, fedDirectly(samples));
    QCOMPARE(result.durationMs, 30000);
}

void TestFingerprintCalculation::sampleRateAndChannelsAreTheSources()
{
    const QString path =
        media.makeTune(QStringLiteral("surround.m4a"),
                       {.seed = 1, .seconds = 5.0, .sampleRateHz = 48000, .channels = 6});
    const Fingerprinted result = fingerprinted(path);
    QVERIFY(result.report.succeeded);
    QCOMPARE(result.sampleRateHz, 48000);
    QCOMPARE(result.channels, 6);
}

void TestFingerprintCalculation::fingerprintIsAppended()
{
    const QString path = media.filePath(QStringLiteral("tune.mp3"));
    Written behind;
    behind.words = {1, 2, 3};
    fingerprintInto(behind, path);
    QCOMPARE(behind.words, QList<quint32>({1, 2, 3}) + fingerprinted(path).words);
}

void TestFingerprintCalculation::printingAndReportingVariantsAgree()
{
    const QString path = media.filePath(QStringLiteral("tune.mp3"));
    const Fingerprinted reported = fingerprinted(path);
    QVERIFY(reported.report.succeeded && !reported.report.stopped);
    QCOMPARE(reported.report.messages, QByteArrayList());
    Written printed;
    StandardErrorCapture capture;
    QCOMPARE(fpcalc_main(path.toUtf8().constData(), printed.words, printed.durationMs,
                         printed.sampleRateHz, printed.channels),
             0);
    QCOMPARE(capture.take(), QByteArray());
    QCOMPARE(printed.words, reported.words);
    QCOMPARE(printed.durationMs, reported.durationMs);
    QCOMPARE(printed.sampleRateHz, 44100);
    QCOMPARE(printed.channels, 2);
}

void TestFingerprintCalculation::propertiesAreWrittenBeforeTheFingerprintFails()
{
    StandardErrorCapture capture;
    Written result;
    QVERIFY_THROWS_EXCEPTION(
        std::runtime_error, fingerprintInto(result, media.filePath(QStringLiteral("nothing.wav"))));
    QCOMPARE(result.sampleRateHz, 44100);
    QCOMPARE(result.channels, 2);
    Written untouched;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                             fingerprintInto(untouched, QStringLiteral("/no/such/file")));
    QCOMPARE(untouched.durationMs, -77);
    QCOMPARE(untouched.sampleRateHz, -77);
    QCOMPARE(untouched.channels, -77);
}

void TestFingerprintCalculation::audioThatDecodesToNothingIsNotEnough()
{
    const Fingerprinted result = fingerprinted(media.filePath(QStringLiteral("nothing.wav")));
    QCOMPARE(result.report.messages, QByteArrayList{"Not enough audio data"});
    QCOMPARE(result.words, QList<quint32>());
}

void TestFingerprintCalculation::tooShortAudioGivesAnEmptyFingerprint()
{
    const QString path = media.makeTune(QStringLiteral("short.wav"), {.seed = 1, .seconds = 1.0});
    const Fingerprinted result = fingerprinted(path);
    QCOMPARE(result.report.messages, QByteArrayList{"Empty fingerprint"});
    QCOMPARE(result.words, QList<quint32>());
}

void TestFingerprintCalculation::failureIsPrintedAndThrown_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("missing file")
        << QStringLiteral("/no/such/file.mp3")
        << QByteArray("ERROR: Could not open the input file (No such file or directory)\n");
    QTest::newRow("picture")
        << media.makePicture(QStringLiteral("picture.png"))
        << QByteArray("ERROR: Could not find any audio stream in the file (Stream not found)\n");
    QTest::newRow("no samples") << media.filePath(QStringLiteral("nothing.wav"))
                                << QByteArray("ERROR: Not enough audio data\n");
    QTest::newRow("too few samples")
        << media.makeTune(QStringLiteral("short.flac"), {.seed = 1, .seconds = 1.0})
        << QByteArray("ERROR: Empty fingerprint\n");
}

void TestFingerprintCalculation::failureIsPrintedAndThrown()
{
    QFETCH(const QString, path);
    QFETCH(const QByteArray, line);
    Written result;
    QByteArray thrown;
    StandardErrorCapture capture;
    try {
        fingerprintInto(result, path);
    } catch (const std::runtime_error& error) {
        thrown = error.what();
    }
    QCOMPARE(capture.take(), line);
    QCOMPARE(thrown, QByteArray("ERROR"));
    QCOMPARE(result.words, QList<quint32>());
}

void TestFingerprintCalculation::truncatedFileGivesTheFingerprintBeforeTheBreak()
{
    const QString whole = media.filePath(QStringLiteral("tune.flac"));
    const QString cut = media.truncate(QStringLiteral("cut.flac"), whole, 0.6);
    const Fingerprinted complete = fingerprinted(whole);
    QVERIFY(complete.report.succeeded);
    Written broken;
    StandardErrorCapture capture;
    QCOMPARE(fpcalc_main(cut.toUtf8().constData(), broken.words, broken.durationMs,
                         broken.sampleRateHz, broken.channels),
             0);
    QCOMPARE(capture.take(), QByteArray("ERROR: Error reading from the audio source "
                                        "(Invalid data found when processing input)\n"));
    QVERIFY(broken.words.size() > complete.words.size() / 4);
    QVERIFY(broken.words.size() < complete.words.size());
    QCOMPARE(broken.words, complete.words.first(broken.words.size()));
}

void TestFingerprintCalculation::missingNameIsALogicError()
{
    Written result;
    const auto call = [&result] {
        fpcalc_main(nullptr, result.words, result.durationMs, result.sampleRateHz, result.channels);
    };
    QVERIFY_THROWS_EXCEPTION(std::logic_error, call());
    QCOMPARE(result.sampleRateHz, -77);
}

void TestFingerprintCalculation::dashIsReadFromStandardInput()
{
    const QByteArray samples =
        testmedia::samplesOf({.seed = 6, .seconds = 10.0, .sampleRateHz = 11025, .channels = 1});
    const QByteArray file = testmedia::wavFile(samples, 11025, 1);
    int pipeEnds[2] = {-1, -1};
    QVERIFY(pipe(pipeEnds) == 0);
    // The pipe takes all of it, so that nobody waits where reading fails.
    QVERIFY(fcntl(pipeEnds[1], F_SETPIPE_SZ, static_cast<int>(file.size())) >= file.size());
    QCOMPARE(write(pipeEnds[1], file.constData(), static_cast<std::size_t>(file.size())),
             file.size());
    close(pipeEnds[1]);
    QList<quint32> words;
    {
        const StandardInputReplacement replacement(pipeEnds[0]);
        const Context context(chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT));
        FFmpegAudioReader reader;
        reader.SetOutputSampleRate(11025);
        reader.SetOutputChannels(1);
        ProcessFile(context.get(), reader, "-", words);
    }
    close(pipeEnds[0]);
    QCOMPARE(words, fedDirectly(samples));
}

void TestFingerprintCalculation::dashIsAnOrdinaryNameForTheWholeCalculation()
{
    QCOMPARE(fingerprinted(QStringLiteral("-")).report.messages,
             QByteArrayList{"Could not open the input file (No such file or directory)"});
}

void TestFingerprintCalculation::rateThatChromaprintRefusesIsReported()
{
    const QString path = media.write(QStringLiteral("slow.wav"),
                                     testmedia::wavFile(QByteArray(4000, '\1'), 1000, 1));
    const Context context(chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT));
    FFmpegAudioReader reader; // asks for the source's own rate
    QList<quint32> words;
    StandardErrorCapture capture;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                             ProcessFile(context.get(), reader, path.toUtf8().constData(), words));
    // The library may have put its own reason before.
    QVERIFY(capture.take().endsWith("ERROR: Could not initialize the fingerprinting process\n"));
}

void TestFingerprintCalculation::contextThatIsNoneIsReported()
{
    FFmpegAudioReader reader;
    QList<quint32> words;
    StandardErrorCapture capture;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                             PrintResult(nullptr, reader, true, 0.0, 0.0, words));
    QVERIFY(capture.take().endsWith("ERROR: Could not get the fingerprinting size\n"));
}

void TestFingerprintCalculation::emptyFingerprintOfALaterChunkIsNoError()
{
    const Context context(chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT));
    chromaprint_start(context.get(), 11025, 1);
    chromaprint_finish(context.get());
    FFmpegAudioReader reader;
    QList<quint32> words = {9};
    {
        StandardErrorCapture capture;
        QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                                 PrintResult(context.get(), reader, true, 0.0, 0.0, words));
        QCOMPARE(capture.take(), QByteArray("ERROR: Empty fingerprint\n"));
    }
    PrintResult(context.get(), reader, false, 0.0, 0.0, words);
    QCOMPARE(words, QList<quint32>{9});
}

void TestFingerprintCalculation::printResultAppendsTheContextsWords()
{
    const QByteArray samples =
        testmedia::samplesOf({.seed = 7, .seconds = 8.0, .sampleRateHz = 11025, .channels = 1});
    const Context context(chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT));
    chromaprint_start(context.get(), 11025, 1);
    chromaprint_feed(context.get(), reinterpret_cast<const std::int16_t*>(samples.constData()),
                     static_cast<int>(samples.size() / 2));
    chromaprint_finish(context.get());
    FFmpegAudioReader reader;
    QList<quint32> words = {9};
    PrintResult(context.get(), reader, true, 1.5, 2.5, words);
    QCOMPARE(words, QList<quint32>{9} + fedDirectly(samples));
}

void TestFingerprintCalculation::durationFollowsTheTimeBase_data()
{
    QTest::addColumn<int>("numerator");
    QTest::addColumn<int>("denominator");
    QTest::addColumn<qint64>("duration");
    QTest::addColumn<int>("milliseconds");
    constexpr qint64 kSmallest = std::numeric_limits<qint64>::min();
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    QTest::newRow("samples") << 1 << 44100 << qint64{44100} << 1000;
    QTest::newRow("truncates") << 1 << 44100 << qint64{88199} << 1999;
    QTest::newRow("truncates toward zero") << 1 << 44100 << qint64{-88199} << -1999;
    QTest::newRow("numerator") << 1001 << 30000 << qint64{30} << 1001;
    QTest::newRow("nothing") << 1 << 44100 << qint64{0} << 0;
    QTest::newRow("denominator of zero") << 1 << 0 << qint64{1} << -1;
    QTest::newRow("numerator wraps in 32 bits") << 4294968 << 1 << qint64{1} << 704;
    QTest::newRow("product wraps in 64 bits") << 1 << 1 << kLargest << -1000;
    QTest::newRow("smallest by minus one") << 1 << -1 << kSmallest << 0;
    // 1000 * 2^60 is 2^63 in 64 bits; divided by -1 it has no signed result.
    QTest::newRow("no signed quotient") << 1 << -1 << (qint64{1} << 60) << 0;
    QTest::newRow("result wraps in 32 bits") << 1 << 1 << qint64{4294968} << 704;
}

void TestFingerprintCalculation::durationFollowsTheTimeBase()
{
    QFETCH(const int, numerator);
    QFETCH(const int, denominator);
    QFETCH(const qint64, duration);
    QFETCH(const int, milliseconds);
    QCOMPARE(chromaprint::durationInMilliseconds(numerator, denominator, duration), milliseconds);
}

void TestFingerprintCalculation::durationOfTheContainerIsTakenWhereTheStreamHasNone()
{
    const QString path = media.makeTune(QStringLiteral("tune.mka"), {.seed = 1, .seconds = 6.0},
                                        {QStringLiteral("-c:a"), QStringLiteral("flac")});
    const Fingerprinted result = fingerprinted(path);
    QVERIFY(result.report.succeeded);
    QVERIFY2(result.durationMs >= 6000 && result.durationMs < 6050,
             qPrintable(QString::number(result.durationMs)));
}

void TestFingerprintCalculation::durationIsMinusOneWhenTheFileHasNone()
{
    const QString path =
        media.makeTune(QStringLiteral("live.mka"), {.seed = 1, .seconds = 6.0},
                       {QStringLiteral("-c:a"), QStringLiteral("flac"), QStringLiteral("-live"),
                        QStringLiteral("1"), QStringLiteral("-f"), QStringLiteral("matroska")});
    const Fingerprinted result = fingerprinted(path);
    QVERIFY(result.report.succeeded);
    QCOMPARE(result.durationMs, -1);
}

void TestFingerprintCalculation::durationThatOverflowsWraps()
{
    // Five minutes of samples that the header plays at one a second: 13,230,000,000 ms.
    const QString path = media.write(QStringLiteral("long.wav"),
                                     testmedia::wavFile(QByteArray(26460000, '\0'), 1, 1));
    const Fingerprinted result = fingerprinted(path);
    QVERIFY(result.report.succeeded);
    QCOMPARE(result.durationMs, static_cast<int>(13230000000LL & 0xFFFFFFFF));
}

void TestFingerprintCalculation::timestampIsTheSystemClocks()
{
    const auto seconds = [] {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const double before = seconds();
    const double now = GetCurrentTimestamp();
    const double after = seconds();
    QVERIFY2(now > before - 0.001 && now < after + 0.001, qPrintable(QString::number(now, 'f')));
}

QTEST_GUILESS_MAIN(TestFingerprintCalculation)
#include "tst_fingerprintcalculation.moc"
