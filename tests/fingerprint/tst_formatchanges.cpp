#include "matroska.h"
#include "reading.h"
#include "support/media.h"

#include <QTest>

#include <algorithm>
#include <cstring>

using chromaprint::FFmpegAudioReader;
using reading::Decoded;
using reading::errorOf;
using reading::readToEnd;
using testmedia::MediaFolder;
using testmedia::Tune;

/** Streams that change their format in the middle, and readers that go from one file to another. */
class TestFormatChanges : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void streamThatChangesIsFollowed_data();
    void streamThatChangesIsFollowed();
    void oneChannelAfterTwoFillsBothOutputChannels();
    void twoChannelsAfterOneAreMixed();
    void tagBetweenJoinedFilesEndsTheFingerprintThere();
    void converterOfAnEarlierFileDoesNotTouchAnotherFormat();
    void converterOfAnEarlierFileStillConvertsWhatItWasMadeFor();
    void converterOfAnEarlierFileOutlivesFilesThatItDoesNotFit();
    void converterOfAnEarlierFileGivesNoOtherCountOfChannels();
    void streamThatChangesEndsTheConverterOfAnEarlierFile();
    void bufferOfAnEarlierFileGrowsForMoreChannels();
    void oneHertzHeaderGivesBlocksOfTheBuffersSize();
    void oneHertzHeaderOfALargeFileGivesTheFingerprintOfAPart();
    void ratesThatMakeNoSenseFailOrGiveLittle_data();
    void ratesThatMakeNoSenseFailOrGiveLittle();

private:
    MediaFolder media;
};

namespace {

constexpr double kPartSeconds = 10.0;

/** One part of a file: its format, and the seed of its tune. */
struct Part
{
    unsigned seed;
    int sampleRateHz;
    int channels;
};
using Parts = QList<Part>;

Tune tuneOf(const Part& part)
{
    return {.seed = part.seed,
            .seconds = kPartSeconds,
            .sampleRateHz = part.sampleRateHz,
            .channels = part.channels};
}

QList<quint32> fingerprintOf(const QString& path, QByteArrayList* messages = nullptr)
{
    const reading::Fingerprinted result = reading::fingerprinted(path);
    if (messages) {
        *messages = result.report.messages;
    }
    return result.words;
}

Decoded readAs(FFmpegAudioReader& reader, const QString& path, int rate, int channels)
{
    reader.Close();
    reader.SetOutputSampleRate(rate);
    reader.SetOutputChannels(channels);
    return reader.Open(path.toStdString()) ? readToEnd(reader) : Decoded();
}

} // namespace

void TestFormatChanges::initTestCase()
{
    reading::silenceLibraries();
}

void TestFormatChanges::streamThatChangesIsFollowed_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<Parts>("parts");
    const Part stereo = {1, 44100, 2};
    const Part mono = {2, 22050, 1};
    const Part surround = {3, 48000, 6};
    const Part plain = {4, 11025, 1}; // the format that is fingerprinted
    const QStringList untagged = {QStringLiteral("-id3v2_version"), QStringLiteral("0"),
                                  QStringLiteral("-write_xing"), QStringLiteral("0")};
    const QStringList vorbis = {QStringLiteral("-c:a"), QStringLiteral("libvorbis")};
    // Its decoder takes no larger frames than those of the first part.
    const QStringList flac = {QStringLiteral("-c:a"), QStringLiteral("flac"),
                              QStringLiteral("-frame_size"), QStringLiteral("4608")};
    const QString mp3 = QStringLiteral("mp3");
    const QString aac = QStringLiteral("aac");
    const QString ac3 = QStringLiteral("ac3");
    const QString mp2 = QStringLiteral("mp2");
    const QString ogg = QStringLiteral("ogg");
    QTest::newRow("MP3, two to one and back") << mp3 << untagged << Parts{stereo, mono, stereo};
    QTest::newRow("MP3, one to two") << mp3 << untagged << Parts{mono, stereo};
    QTest::newRow("AAC, two, one, six, two")
        << aac << QStringList() << Parts{stereo, mono, surround, stereo};
    QTest::newRow("AAC, one to six") << aac << QStringList() << Parts{mono, surround};
    QTest::newRow("AC-3, two, six, one")
        << ac3 << QStringList() << Parts{stereo, surround, {2, 32000, 1}};
    QTest::newRow("MP2, two to one") << mp2 << QStringList() << Parts{stereo, mono};
    QTest::newRow("chained Vorbis") << ogg << vorbis << Parts{stereo, mono, stereo};
    QTest::newRow("chained FLAC") << ogg << flac << Parts{stereo, mono};
    QTest::newRow("chained FLAC, no converter at first") << ogg << flac << Parts{plain, stereo};
    QTest::newRow("chained FLAC, no converter in the middle")
        << ogg << flac << Parts{stereo, plain, stereo};
    QTest::newRow("chained FLAC, back to no converter")
        << ogg << flac << Parts{plain, stereo, plain};
}

void TestFormatChanges::streamThatChangesIsFollowed()
{
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    QFETCH(const Parts, parts);
    QStringList files;
    QByteArray expectedSamples;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        files.append(media.makeTune(QStringLiteral("part%1.%2").arg(i).arg(suffix),
                                    tuneOf(parts.at(i)), arguments));
        expectedSamples.append(testmedia::samplesOf(tuneOf({parts.at(i).seed, 11025, 1})));
    }
    const QString joined = media.join(QStringLiteral("joined.") + suffix, files);
    const QString expected =
        media.write(QStringLiteral("expected.wav"), testmedia::wavFile(expectedSamples, 11025, 1));

    QByteArrayList messages;
    const QList<quint32> words = fingerprintOf(joined, &messages);
    const QList<quint32> expectedWords = fingerprintOf(expected);
    QCOMPARE(messages, QByteArrayList());
    QVERIFY2(qAbs(words.size() - expectedWords.size()) <= 4,
             qPrintable(QStringLiteral("%1 of %2").arg(words.size()).arg(expectedWords.size())));
    const int likeness = testmedia::likenessPercent(words, expectedWords);
    QVERIFY2(likeness >= 80, qPrintable(QString::number(likeness)));
}

void TestFormatChanges::oneChannelAfterTwoFillsBothOutputChannels()
{
    const QStringList flac = {QStringLiteral("-c:a"), QStringLiteral("flac")};
    const QString first = media.makeTune(QStringLiteral("two.ogg"), tuneOf({1, 44100, 2}), flac);
    const QString second = media.makeTune(QStringLiteral("one.ogg"), tuneOf({2, 44100, 1}), flac);
    const QString joined = media.join(QStringLiteral("twoone.ogg"), {first, second});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(joined.toStdString()));
    QCOMPARE(reader.OutputChannels(), 2);
    const Decoded decoded = readToEnd(reader);
    QVERIFY2(decoded.completed, errorOf(reader).constData());
    QCOMPARE(decoded.frames, static_cast<qint64>(2 * kPartSeconds * 44100));

    const QByteArray expectedFirst = testmedia::samplesOf(tuneOf({1, 44100, 2}));
    QCOMPARE(decoded.samples.first(expectedFirst.size()), expectedFirst);
    const QByteArray rest = decoded.samples.sliced(expectedFirst.size());
    for (qsizetype at = 0; at < rest.size(); at += 4) {
        if (std::memcmp(rest.constData() + at, rest.constData() + at + 2, 2) != 0) {
            QFAIL(qPrintable(QStringLiteral("the channels differ at byte %1").arg(at)));
        }
    }
}

void TestFormatChanges::twoChannelsAfterOneAreMixed()
{
    const QStringList flac = {QStringLiteral("-c:a"), QStringLiteral("flac")};
    const QString first = media.makeTune(QStringLiteral("one.ogg"), tuneOf({1, 44100, 1}), flac);
    const QString second = media.makeTune(QStringLiteral("two.ogg"), tuneOf({2, 44100, 2}), flac);
    const QString joined = media.join(QStringLiteral("onetwo.ogg"), {first, second, first});
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(joined.toStdString()));
    QCOMPARE(reader.OutputChannels(), 1);
    const Decoded decoded = readToEnd(reader);
    QVERIFY2(decoded.completed, errorOf(reader).constData());
    QCOMPARE(decoded.frames, static_cast<qint64>(3 * kPartSeconds * 44100));
    const QByteArray mono = testmedia::samplesOf(tuneOf({1, 44100, 1}));
    QCOMPARE(decoded.samples.first(mono.size()), mono);
    QCOMPARE(decoded.samples.last(mono.size()), mono);
}

void TestFormatChanges::tagBetweenJoinedFilesEndsTheFingerprintThere()
{
    const QString first = media.makeTune(QStringLiteral("tagged1.mp3"), tuneOf({1, 44100, 2}));
    const QString second = media.makeTune(QStringLiteral("tagged2.mp3"), tuneOf({2, 22050, 1}));
    QByteArrayList messages;
    const QList<quint32> words =
        fingerprintOf(media.join(QStringLiteral("tagged.mp3"), {first, second}), &messages);
    QCOMPARE(messages, QByteArrayList{"Error reading from the audio source "
                                      "(Invalid data found when processing input)"});
    QVERIFY(testmedia::likenessPercent(words, fingerprintOf(first)) > 95);
}

void TestFormatChanges::converterOfAnEarlierFileDoesNotTouchAnotherFormat()
{
    const QString mp3 = media.makeTune(QStringLiteral("first.mp3"), tuneOf({1, 44100, 2}));
    const QByteArray plain = testmedia::samplesOf(tuneOf({2, 11025, 1}));
    const QString wav =
        media.write(QStringLiteral("second.wav"), testmedia::wavFile(plain, 11025, 1));
    FFmpegAudioReader reader;
    reader.SetOutputSampleRate(11025);
    reader.SetOutputChannels(1);
    QVERIFY(reader.Open(mp3.toStdString()));
    QVERIFY(readToEnd(reader).completed);
    QVERIFY(reader.Open(wav.toStdString()));
    const Decoded decoded = readToEnd(reader);
    QVERIFY(decoded.completed);
    QCOMPARE(decoded.samples, plain);
}

void TestFormatChanges::converterOfAnEarlierFileStillConvertsWhatItWasMadeFor()
{
    const QString wav =
        media.write(QStringLiteral("fast.wav"),
                    testmedia::wavFile(testmedia::samplesOf(tuneOf({1, 44100, 1})), 44100, 1));
    FFmpegAudioReader reader;
    const Decoded half = readAs(reader, wav, 22050, 1);
    QVERIFY(half.completed);
    const Decoded kept = readAs(reader, wav, 44100, 1);
    QVERIFY(kept.completed);
    QCOMPARE(reader.OutputSampleRate(), 44100);
    // Nothing needs a converter now, and the one that is there halves the rate as before.
    QVERIFY2(qAbs(kept.frames - half.frames) < 100, qPrintable(QString::number(kept.frames)));
}

void TestFormatChanges::converterOfAnEarlierFileOutlivesFilesThatItDoesNotFit()
{
    const QString fast =
        media.write(QStringLiteral("fast.wav"),
                    testmedia::wavFile(testmedia::samplesOf(tuneOf({1, 44100, 1})), 44100, 1));
    const QByteArray slowSamples = testmedia::samplesOf(tuneOf({2, 22050, 1}));
    const QString slow =
        media.write(QStringLiteral("slow.wav"), testmedia::wavFile(slowSamples, 22050, 1));
    FFmpegAudioReader reader;
    const qint64 half = readAs(reader, fast, 22050, 1).frames;
    const Decoded plain = readAs(reader, slow, 22050, 1);
    QVERIFY(plain.completed);
    QCOMPARE(plain.samples, slowSamples);
    const qint64 kept = readAs(reader, fast, 44100, 1).frames;
    QVERIFY2(qAbs(kept - half) < 100, qPrintable(QString::number(kept)));
}

void TestFormatChanges::converterOfAnEarlierFileGivesNoOtherCountOfChannels()
{
    const QByteArray samples = testmedia::samplesOf(tuneOf({1, 44100, 2}));
    const QString stereo =
        media.write(QStringLiteral("two.wav"), testmedia::wavFile(samples, 44100, 2));
    FFmpegAudioReader reader;
    QVERIFY(readAs(reader, stereo, 44100, 1).completed);
    const Decoded plain = readAs(reader, stereo, 44100, 2);
    QVERIFY(plain.completed);
    QCOMPARE(plain.samples, samples);
}

void TestFormatChanges::streamThatChangesEndsTheConverterOfAnEarlierFile()
{
    const QStringList flac = {QStringLiteral("-c:a"), QStringLiteral("flac"),
                              QStringLiteral("-frame_size"), QStringLiteral("2304")};
    const QString first = media.makeTune(QStringLiteral("a.ogg"), tuneOf({1, 44100, 1}), flac);
    const QString second = media.makeTune(QStringLiteral("b.ogg"), tuneOf({2, 22050, 1}), flac);
    const QString joined = media.join(QStringLiteral("joined.ogg"), {first, second, first});
    FFmpegAudioReader reader;
    QVERIFY(readAs(reader, first, 22050, 1).completed);
    const Decoded decoded = readAs(reader, joined, 44100, 1);
    QVERIFY2(decoded.completed, errorOf(reader).constData());
    // The first part goes through the converter of before; from the change on, all is as asked for.
    const auto part = static_cast<qint64>(kPartSeconds * 44100);
    QVERIFY2(qAbs(decoded.frames - (part / 2 + part + part)) < 200,
             qPrintable(QString::number(decoded.frames)));
    const QByteArray mono = testmedia::samplesOf(tuneOf({1, 44100, 1}));
    QCOMPARE(decoded.samples.last(mono.size()), mono);
}

void TestFormatChanges::bufferOfAnEarlierFileGrowsForMoreChannels()
{
    // The first file leaves a buffer for one channel behind, long enough in samples for the second.
    const QString mono = media.makeTune(QStringLiteral("mono.mp3"), tuneOf({1, 44100, 1}));
    const QString six = media.makeTune(QStringLiteral("six.aac"), tuneOf({2, 44100, 6}));
    FFmpegAudioReader reader;
    QVERIFY(reader.Open(mono.toStdString()));
    QVERIFY(readToEnd(reader).completed);
    reader.SetOutputChannels(6);
    QVERIFY(reader.Open(six.toStdString()));
    const Decoded decoded = readToEnd(reader);
    QVERIFY2(decoded.completed, errorOf(reader).constData());
    QVERIFY(decoded.frames > qint64{9} * 44100);
}

void TestFormatChanges::oneHertzHeaderGivesBlocksOfTheBuffersSize()
{
    // FFmpeg 7 reads such a file sample by sample, and each takes a buffer of output.
    constexpr int kSamples = 10000;
    const QByteArray samples = testmedia::samplesOf(tuneOf({1, 44100, 1})).first(2 * kSamples);
    const QString path = media.write(QStringLiteral("slow.wav"), testmedia::wavFile(samples, 1, 1));
    FFmpegAudioReader reader;
    reader.SetOutputSampleRate(11025);
    reader.SetOutputChannels(1);
    QVERIFY(reader.Open(path.toStdString()));
    QCOMPARE(reader.DurationMs(), kSamples * 1000);
    std::size_t largest = 0;
    while (!reader.AtEnd()) {
        const std::int16_t* block = nullptr;
        std::size_t frames = 0;
        QVERIFY(reader.ReadBlock(&block, &frames));
        largest = std::max(largest, frames);
    }
    QCOMPARE(largest, std::size_t{8192});
}

/** Each packet is larger than what the buffer takes of it, so the converter holds back the rest. */
void TestFormatChanges::oneHertzHeaderOfALargeFileGivesTheFingerprintOfAPart()
{
    constexpr int kBlocks = 400; // 35 MB in all
    const QByteArray samples =
        testmedia::samplesOf({.seconds = 1.0, .sampleRateHz = 44100, .channels = 1});
    QByteArrayList blocks;
    for (int index = 0; index < kBlocks; ++index) {
        blocks.append(matroska::soundBlock(index, samples));
    }
    const QString path = media.write(QStringLiteral("slow.mka"),
                                     matroska::file({matroska::soundTrack(1, 1.0)}, blocks));
    QByteArrayList messages;
    QVERIFY(!fingerprintOf(path, &messages).isEmpty());
    QCOMPARE(messages, QByteArrayList{"Couldn't convert audio"});
}

void TestFormatChanges::ratesThatMakeNoSenseFailOrGiveLittle_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("none") << 0
                          << QByteArray("Could not open the input file "
                                        "(Invalid data found when processing input)");
    QTest::newRow("2 GHz") << 2147483647
                           << QByteArray("Could not create an audio converter instance "
                                         "(Cannot allocate memory)");
    QTest::newRow("20 MHz") << 20000000 << QByteArray("Empty fingerprint");
}

void TestFormatChanges::ratesThatMakeNoSenseFailOrGiveLittle()
{
    QFETCH(const int, rate);
    QFETCH(const QByteArray, message);
    const QByteArray samples = testmedia::samplesOf(tuneOf({1, 44100, 1}));
    const QString path =
        media.write(QStringLiteral("fast.wav"), testmedia::wavFile(samples, rate, 1));
    QByteArrayList messages;
    QCOMPARE(fingerprintOf(path, &messages), QList<quint32>());
    QCOMPARE(messages, QByteArrayList{message});
}

QTEST_GUILESS_MAIN(TestFormatChanges)
#include "tst_formatchanges.moc"
