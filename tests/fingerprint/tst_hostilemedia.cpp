#include "matroska.h"
#include "reading.h"
#include "support/media.h"

#include <QTest>
#include <QtEndian>

#include <limits>

using reading::Fingerprinted;
using reading::fingerprinted;
using testmedia::MediaFolder;
using testmedia::Tune;

/** Files whose headers lie. Each is refused, or read as far as it goes. */
class TestHostileMedia : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void headerOfAFewHertzIsRead_data();
    void headerOfAFewHertzIsRead();
    void headerOfRareChannelsIsReadOrRefused_data();
    void headerOfRareChannelsIsReadOrRefused();
    void absurdDurationIsOnlyANumber_data();
    void absurdDurationIsOnlyANumber();
    void gigabytesAnnouncedInAKilobyteAreNotBelieved_data();
    void gigabytesAnnouncedInAKilobyteAreNotBelieved();
    void packetOfMoreThan16MibIsRefused_data();
    void packetOfMoreThan16MibIsRefused();
    void oneStreamOfAThousandIsRead();
    void fileOfThousandsOfStreamsIsReadOrRefused();
    void streamThatChangesEverySecondIsFollowed_data();
    void streamThatChangesEverySecondIsFollowed();

private:
    MediaFolder media;
};

namespace {

constexpr auto kNoConverter = "Could not create an audio converter instance (Invalid argument)";
constexpr auto kNoAudio = "Could not find any audio stream in the file (Stream not found)";
constexpr int kKilobyte = 1024;

const Tune kSecond = {.seed = 1, .seconds = 1.0, .sampleRateHz = 44100, .channels = 1};

template <typename Number> QByteArray bigEndian(Number value)
{
    QByteArray bytes(static_cast<qsizetype>(sizeof(value)), '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

/** Five seconds of sound, a second a block. */
QByteArrayList fiveBlocks()
{
    QByteArrayList blocks;
    for (int milliseconds = 0; milliseconds < 5000; milliseconds += 1000) {
        blocks.append(matroska::soundBlock(milliseconds, testmedia::samplesOf(kSecond)));
    }
    return blocks;
}

/** The samples of a file in the format that is fingerprinted. */
QByteArray workingSamplesOf(const QString& path)
{
    chromaprint::FFmpegAudioReader reader;
    reader.SetOutputSampleRate(11025);
    reader.SetOutputChannels(1);
    return reader.Open(path.toStdString()) ? reading::readToEnd(reader).samples : QByteArray();
}

QByteArray fileOfStreams(int count)
{
    QByteArrayList tracks;
    for (int index = 1; index <= count; ++index) {
        tracks.append(matroska::soundTrack(index));
    }
    return matroska::file(tracks, fiveBlocks());
}

/** An MP4 file's building block. */
QByteArray box(const char* type, const QByteArray& content)
{
    return bigEndian(static_cast<quint32>(content.size() + 8)) + type + content;
}

QByteArray mp4Type()
{
    return box("ftyp", QByteArray("M4A \0\0\0\0M4A mp42", 16));
}

/** An MP4 file without samples, whose tables claim hundreds of millions of them. */
QByteArray mp4OfHugeTables()
{
    const auto entries = [](quint32 count) { return bigEndian(quint32{0}) + bigEndian(count); };
    const QByteArray codec = box(
        "mp4a", QByteArray::fromHex("000000000000000100000000000000000002001000000000AC440000"));
    const QByteArray tables = box("stsd", entries(1) + codec) + box("stts", entries(0x0FFFFFFF)) +
                              box("stsc", entries(0x0FFFFFFF)) +
                              box("stsz", entries(0) + bigEndian(quint32{0x3FFFFFFF})) +
                              box("stco", entries(0x1FFFFFFF));
    const QByteArray header = box("mdhd", QByteArray(12, '\0') + bigEndian(quint32{44100}) +
                                              bigEndian(quint32{0xFFFFFFFF}) + QByteArray(4, '\0'));
    const QByteArray kind = box("hdlr", QByteArray(8, '\0') + "soun" + QByteArray(13, '\0'));
    const QByteArray track =
        box("tkhd", QByteArray::fromHex("00000007") + QByteArray(80, '\0')) +
        box("mdia",
            header + kind + box("minf", box("smhd", QByteArray(8, '\0')) + box("stbl", tables)));
    return mp4Type() + box("moov", box("mvhd", QByteArray(100, '\0')) + box("trak", track));
}

/** \a size in the place of the four bytes at \a position of an empty WAV file. */
QByteArray waveWith(qsizetype position, const QByteArray& size)
{
    QByteArray file = testmedia::wavFile({}, 44100, 2);
    file.replace(position, 4, QByteArray::fromHex(size));
    return file;
}

QByteArray flacOfAHugePicture()
{
    const QByteArray streamInfo =
        QByteArray::fromHex("00000022100010000000000000000AC442F000000000") + QByteArray(16, '\0');
    return "fLaC" + streamInfo + QByteArray::fromHex("86FFFFFF000000030000000A") + "image/jpeg" +
           QByteArray(20, '\0') + QByteArray(4, '\x7F');
}

} // namespace

void TestHostileMedia::initTestCase()
{
    reading::silenceLibraries();
}

void TestHostileMedia::headerOfAFewHertzIsRead_data()
{
    QTest::addColumn<int>("rate");
    for (const int rate : {1, 16, 1000}) {
        QTest::addRow("%d Hz", rate) << rate;
    }
}

void TestHostileMedia::headerOfAFewHertzIsRead()
{
    QFETCH(const int, rate);
    // FFmpeg 7 reads such a file sample by sample, and each takes a buffer of output.
    constexpr int kSamples = 20000;
    const QByteArray samples = testmedia::samplesOf(kSecond).first(2 * kSamples);
    const Fingerprinted result = fingerprinted(
        media.write(QStringLiteral("slow.wav"), testmedia::wavFile(samples, rate, 1)));
    QCOMPARE(result.report.messages, QByteArrayList());
    QVERIFY(!result.words.isEmpty());
    QCOMPARE(result.sampleRateHz, rate);
    QCOMPARE(qint64{result.durationMs}, qint64{kSamples} * 1000 / rate);
}

void TestHostileMedia::headerOfRareChannelsIsReadOrRefused_data()
{
    QTest::addColumn<int>("channels");
    QTest::addColumn<QByteArrayList>("messages");
    const QByteArrayList read = {QByteArray()};
    QTest::newRow("0") << 0 << QByteArrayList{kNoAudio};
    QTest::newRow("3") << 3 << read;
    QTest::newRow("64") << 64 << QByteArrayList{kNoConverter};
    QTest::newRow("65") << 65 << QByteArrayList{kNoConverter};
    QTest::newRow("512") << 512 << QByteArrayList{kNoConverter};
    // FFmpeg 7 finds out earlier than FFmpeg 5, and does not count the stream.
    QTest::newRow("65535") << 65535
                           << QByteArrayList{"Could not open the codec (Invalid argument)",
                                             kNoAudio};
}

/** One of the messages is reported; an empty one is of a file that is read. */
void TestHostileMedia::headerOfRareChannelsIsReadOrRefused()
{
    QFETCH(const int, channels);
    QFETCH(const QByteArrayList, messages);
    const QByteArray samples = testmedia::samplesOf(kSecond).repeated(64);
    const Fingerprinted result = fingerprinted(
        media.write(QStringLiteral("channels.wav"), testmedia::wavFile(samples, 44100, channels)));
    const QByteArray message = result.report.messages.value(0);
    QVERIFY2(messages.contains(message), message.constData());
    QCOMPARE(result.words.isEmpty(), !message.isEmpty());
}

void TestHostileMedia::absurdDurationIsOnlyANumber_data()
{
    QTest::addColumn<double>("duration");
    QTest::addColumn<int>("durationMs");
    QTest::newRow("none") << 0.0 << 5001;
    QTest::newRow("30 years") << 1e12 << -727379968; // 10^12 in 32 bits
    QTest::newRow("longer than the universe") << 1e18 << 5001;
    QTest::newRow("10^300") << 1e300 << 5001;
    QTest::newRow("-10^300") << -1e300 << 5001;
    QTest::newRow("negative") << -1.0 << -1;
    QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << 5001;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 5001;
}

void TestHostileMedia::absurdDurationIsOnlyANumber()
{
    QFETCH(const double, duration);
    QFETCH(const int, durationMs);
    const QByteArray content = matroska::file({matroska::soundTrack(1)}, fiveBlocks(),
                                              matroska::element("4489", bigEndian(duration)));
    const Fingerprinted result =
        fingerprinted(media.write(QStringLiteral("duration.mka"), content));
    QCOMPARE(result.report.messages, QByteArrayList());
    QVERIFY(!result.words.isEmpty());
    QCOMPARE(result.durationMs, durationMs);
}

void TestHostileMedia::gigabytesAnnouncedInAKilobyteAreNotBelieved_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QByteArray>("content");
    const auto row = [](const char* name, const char* suffix, const QByteArray& content) {
        QTest::newRow(name) << QString::fromUtf8(suffix)
                            << content.leftJustified(kKilobyte, '\0', true);
    };
    const auto hex = [](const char* digits) { return QByteArray::fromHex(digits); };
    row("samples of a WAV file", "wav", waveWith(40, "FFFFFFF0"));
    row("format of a WAV file", "wav", waveWith(16, "FFFFFF7F"));
    row("tag of an MP3 file", "mp3", "ID3" + hex("0400007F7F7F7F"));
    row("picture of an MP3 file", "mp3",
        "ID3" + hex("0400007F7F7F7F") + "APIC" + hex("7F7F7F7F000000") + "image/png" +
            hex("000300"));
    row("metadata of a FLAC file", "flac", "fLaC" + hex("84FFFFFF"));
    row("picture of a FLAC file", "flac", flacOfAHugePicture());
    row("element of a Matroska file", "mkv",
        matroska::element("1A45DFA3", matroska::element("4282", "matroska")) +
            hex("1853806701FFFFFFFFFFFFFE1549A9660100FFFFFFFFFFFF"));
    row("block of a Matroska file", "mkv",
        matroska::file({matroska::soundTrack(1)}, {}) +
            hex("1F43B6750100FFFFFFFFFFFFE78100A3010000008000000081000080"));
    row("tables of an MP4 file", "m4a", mp4OfHugeTables());
    row("data of an MP4 file", "m4a", mp4Type() + hex("00000001") + "mdat7FFFFFFF");
    row("header of an MP4 file", "mp4",
        mp4Type() + hex("7FFFFFFF") + "moov" + hex("7FFFFFF0") + "trak");
    row("frames of an APE file", "ape",
        "MAC " + hex("960F00003400000018000000FFFFFF3F00000000FFFFFFFFFFFFFFFF00000000") +
            QByteArray(16, '\0') + hex("D00700000020010000200100FFFFFF1F1000020044AC0000"));
    row("frames of a TTA file", "tta", "TTA1" + hex("01000200100044AC0000FFFFFF7F00000000"));
    row("header of an ASF file", "wma",
        hex("3026B2758E66CF11A6D900AA0062CE6CFFFFFFFFFFFFFF7FFFFFFF7F0102"
            "3326B2758E66CF11A6D900AA0062CE6CFFFFFF7F00000000"));
    row("lists of an AVI file", "avi",
        "RIFF" + hex("F0FFFF7F") + "AVI LIST" + hex("F0FFFF7F") + "hdrlavih" + hex("38000000") +
            QByteArray(56, '\x7F') + "LIST" + hex("F0FFFF7F") + "strlstrh" + hex("F0FFFF7F"));
    row("script of an FLV file", "flv",
        "FLV" + hex("0105000000090000000012FFFFFF0000000000000002000A") + "onMetaData" +
            hex("087FFFFFFF"));
    row("rate of an Ogg file", "ogg",
        "OggS" + hex("00020000000000000000010000000000000000000000011E01") + "vorbis" +
            hex("000000000244AC0000FFFFFF7FFFFFFF7FFFFFFF7FB801"));
}

void TestHostileMedia::gigabytesAnnouncedInAKilobyteAreNotBelieved()
{
    QFETCH(const QString, suffix);
    QFETCH(const QByteArray, content);
    QCOMPARE(content.size(), kKilobyte);
    const Fingerprinted result =
        fingerprinted(media.write(QStringLiteral("announced.") + suffix, content));
    QVERIFY(result.words.isEmpty());
    QCOMPARE(result.report.messages.size(), 1);
}

void TestHostileMedia::packetOfMoreThan16MibIsRefused_data()
{
    constexpr int kMost = 16 << 20;
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArrayList>("messages");
    QTest::newRow("16 MiB") << kMost << QByteArrayList();
    QTest::newRow("a sample more")
        << kMost + 2
        << QByteArrayList{"Error reading from the audio source (Cannot allocate memory)"};
}

void TestHostileMedia::packetOfMoreThan16MibIsRefused()
{
    QFETCH(const int, size);
    const QByteArray second = testmedia::samplesOf(kSecond);
    const QByteArray samples = second.repeated(size / second.size() + 1).first(size);
    const QByteArrayList blocks =
        fiveBlocks() + QByteArrayList{matroska::soundBlock(5000, samples)};
    const Fingerprinted result = fingerprinted(media.write(
        QStringLiteral("packet.mka"), matroska::file({matroska::soundTrack(1)}, blocks)));
    QTEST(result.report.messages, "messages");
    // What comes before such a packet is read.
    QVERIFY(!result.words.isEmpty());
}

void TestHostileMedia::oneStreamOfAThousandIsRead()
{
    const Fingerprinted result =
        fingerprinted(media.write(QStringLiteral("many.mka"), fileOfStreams(1000)));
    QCOMPARE(result.report.messages, QByteArrayList());
    QVERIFY(!result.words.isEmpty());
}

/** FFmpeg 5 gives such a file up, FFmpeg 7 reads the first thousand. */
void TestHostileMedia::fileOfThousandsOfStreamsIsReadOrRefused()
{
    const Fingerprinted result =
        fingerprinted(media.write(QStringLiteral("thousands.mka"), fileOfStreams(5000)));
    const bool isRefused =
        result.report.messages.value(0).startsWith("Could not open the input file (");
    const bool isRead = result.report.messages.isEmpty() && !result.words.isEmpty();
    QVERIFY2(isRead || isRefused, result.report.messages.join(", ").constData());
}

void TestHostileMedia::streamThatChangesEverySecondIsFollowed_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QList<QStringList>>("arguments");
    const auto words = [](const char* text) {
        return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts);
    };
    // Rate, channels and, where the codec has several, the format of the samples.
    const auto changes = [&words](const char* codec, const QList<const char*>& formats) {
        QList<QStringList> arguments;
        for (const char* format : formats) {
            arguments.append(words(codec) + words(format));
        }
        return arguments;
    };
    QTest::newRow("MP3") << QStringLiteral("mp3")
                         << changes("-id3v2_version 0 -write_xing 0",
                                    {"-ar 44100 -ac 2", "-ar 8000 -ac 1", "-ar 48000 -ac 1",
                                     "-ar 24000 -ac 2"});
    QTest::newRow("AAC") << QStringLiteral("aac")
                         << changes("", {"-ar 44100 -ac 2", "-ar 22050 -ac 1", "-ar 48000 -ac 6",
                                         "-ar 96000 -ac 1"});
    QTest::newRow("AC-3") << QStringLiteral("ac3")
                          << changes("", {"-ar 48000 -ac 2", "-ar 32000 -ac 1", "-ar 44100 -ac 6"});
    // Its decoder takes no larger frames than those of the first part, and one size of samples.
    QTest::newRow("chained FLAC") << QStringLiteral("ogg")
                                  << changes("-c:a flac -frame_size 4608",
                                             {"-ar 44100 -ac 2", "-ar 96000 -ac 1",
                                              "-ar 11025 -ac 1", "-ar 48000 -ac 6"});
    // The one real codec whose samples change their format: 16 bits and 32 bits.
    QTest::newRow("broadcast stream")
        << QStringLiteral("mp4")
        << changes("-f mpegts -c:a s302m -strict -2 -ar 48000",
                   {"-ac 2 -sample_fmt s16", "-ac 4 -sample_fmt s32", "-ac 6 -sample_fmt s16",
                    "-ac 2 -sample_fmt s32"});
}

void TestHostileMedia::streamThatChangesEverySecondIsFollowed()
{
    QFETCH(const QString, suffix);
    QFETCH(const QList<QStringList>, arguments);
    constexpr qsizetype kSeconds = 24;
    QStringList parts;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        parts.append(media.makeTune(
            QStringLiteral("%1.%2").arg(i).arg(suffix),
            {.seed = static_cast<unsigned>(i + 1), .seconds = 1.0, .sampleRateHz = 48000},
            arguments.at(i)));
    }
    QStringList sequence;
    for (qsizetype second = 0; second < kSeconds; ++second) {
        sequence.append(parts.at(second % parts.size()));
    }
    const Fingerprinted result =
        fingerprinted(media.join(QStringLiteral("changing.") + suffix, sequence));
    QVERIFY2(result.report.messages.isEmpty(), result.report.messages.join(", ").constData());

    // Each part read alone, one behind the other; what a converter holds back at a change is lost.
    QByteArray samples;
    for (const QString& part : sequence) {
        samples.append(workingSamplesOf(part));
    }
    const Fingerprinted expected = fingerprinted(
        media.write(QStringLiteral("expected.wav"), testmedia::wavFile(samples, 11025, 1)));
    const int likeness = testmedia::likenessPercent(result.words, expected.words);
    QVERIFY2(likeness >= 80, qPrintable(QStringLiteral("%1 %, %2 of %3 words")
                                            .arg(likeness)
                                            .arg(result.words.size())
                                            .arg(expected.words.size())));
}

QTEST_GUILESS_MAIN(TestHostileMedia)
#include "tst_hostilemedia.moc"
