#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/filefacts.h"
#include "fingerprint/fingerprintcalculation.h"
#include "reading.h"
#include "support/media.h"

#include <QFileInfo>
#include <QTest>
#include <QtEndian>

#include <limits>

using fingerprint::Completeness;
using fingerprint::FileFacts;
using testmedia::MediaFolder;

namespace {

constexpr double kSeconds = 12.0;

QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts);
}

FileFacts factsOf(const QString& path)
{
    return fingerprint::fingerprintFile(path).facts;
}

/** A WAV file of noise at 8000 Hz whose header states \a statedMs and that has \a presentMs. */
QByteArray wavOfLength(int statedMs, int presentMs)
{
    constexpr int kBytesPerMs = 16;
    quint32 random = 1;
    QByteArray samples(qsizetype{kBytesPerMs} * statedMs, Qt::Uninitialized);
    for (char& byte : samples) {
        random = random * 1664525U + 1013904223U;
        byte = static_cast<char>(random >> 24U);
    }
    const qsizetype missing = qsizetype{kBytesPerMs} * (statedMs - presentMs);
    return testmedia::wavFile(samples, 8000, 1).chopped(missing);
}

} // namespace

/** What a file is, and how much of it was read. */
class TestFileFacts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void factsAreThoseOfTheSound_data();
    void factsAreThoseOfTheSound();
    void pictureDoesNotCountForTheBitRate();
    void wavPackWithALossyPartIsNotLossless();
    void lengthIsCutShortBeyondASecondAndAPercent_data();
    void lengthIsCutShortBeyondASecondAndAPercent();
    void missingEndIsPartialBeyondASecondAndAPercent_data();
    void missingEndIsPartialBeyondASecondAndAPercent();
    void damagedFileIsPartial_data();
    void damagedFileIsPartial();
    void estimatedLengthIsNotStated_data();
    void estimatedLengthIsNotStated();
    void sizeOfAStreamIsNoStatedLength_data();
    void sizeOfAStreamIsNoStatedLength();
    void failedFileHasNoFacts();

private:
    MediaFolder media;
};

void TestFileFacts::factsAreThoseOfTheSound_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("container");
    QTest::addColumn<QString>("codec");
    QTest::addColumn<bool>("isLossless");
    QTest::addColumn<int>("bitsPerSample");
    QTest::addColumn<qint64>("bitRate"); // 0: as many bits as there are, whatever they are
    const auto row = [](const char* name, const char* suffix, const char* arguments,
                        const char* container, const char* codec, bool isLossless,
                        int bitsPerSample, qint64 bitRate) {
        QTest::newRow(name) << QString::fromUtf8(suffix) << words(arguments)
                            << QString::fromUtf8(container) << QString::fromUtf8(codec)
                            << isLossless << bitsPerSample << bitRate;
    };
    constexpr auto kMp4 = "mov,mp4,m4a,3gp,3g2,mj2";
    constexpr auto kMatroska = "matroska,webm";
    row("WAV", "wav", "", "wav", "pcm_s16le", true, 16, 1411200);
    row("WAV, 24 bits", "wav", "-c:a pcm_s24le", "wav", "pcm_s24le", true, 24, 2116800);
    row("WAV, float", "wav", "-c:a pcm_f32le", "wav", "pcm_f32le", true, 32, 2822400);
    row("WAV, mu-law", "wav", "-c:a pcm_mulaw", "wav", "pcm_mulaw", false, 8, 705600);
    row("WAV, ADPCM", "wav", "-c:a adpcm_ms", "wav", "adpcm_ms", false, 0, 0);
    row("AIFF", "aiff", "", "aiff", "pcm_s16be", true, 16, 1411200);
    row("FLAC", "flac", "", "flac", "flac", true, 16, 0);
    row("FLAC, 24 bits", "flac", "-sample_fmt s32", "flac", "flac", true, 24, 0);
    row("FLAC in Ogg", "oga", "-c:a flac", "ogg", "flac", true, 16, 0);
    row("FLAC in Matroska", "mka", "-c:a flac", kMatroska, "flac", true, 16, 0);
    row("ALAC", "m4a", "-c:a alac", kMp4, "alac", true, 16, 0);
    row("WavPack", "wv", "", "wv", "wavpack", true, 16, 0);
    row("WavPack in Matroska", "mka", "-c:a wavpack", kMatroska, "wavpack", true, 16, 0);
    row("TTA", "tta", "", "tta", "tta", true, 16, 0);
    row("MP3, constant", "mp3", "-b:a 192k", "mp3", "mp3", false, 0, 192000);
    row("MP3, variable", "mp3", "-q:a 2", "mp3", "mp3", false, 0, 0);
    row("AAC", "m4a", "-b:a 128k", kMp4, "aac", false, 0, 0);
    row("AAC, raw", "aac", "-b:a 128k", "aac", "aac", false, 0, 0);
    row("AC-3", "ac3", "-b:a 192k", "ac3", "ac3", false, 0, 192000);
    row("DTS", "dts", "-c:a dca -strict -2 -b:a 1411k", "dts", "dts", false, 0, 0);
    // Its header has a nominal rate, which such a tune does not reach.
    row("Vorbis", "ogg", "-c:a libvorbis", "ogg", "vorbis", false, 0, 0);
    row("Opus", "mka", "-c:a libopus -b:a 96k", kMatroska, "opus", false, 0, 0);
    row("WMA", "wma", "-c:a wmav2 -b:a 128k", "asf", "wmav2", false, 0, 128000);
}

void TestFileFacts::factsAreThoseOfTheSound()
{
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    QFETCH(const qint64, bitRate);
    const QString path = media.makeTune(QStringLiteral("tune.") + suffix,
                                        {.seed = 1, .seconds = kSeconds}, arguments);
    const FileFacts facts = factsOf(path);
    QTEST(facts.container, "container");
    QTEST(facts.codec, "codec");
    QTEST(facts.isLossless, "isLossless");
    QTEST(facts.bitsPerSample, "bitsPerSample");
    QCOMPARE(facts.completeness, Completeness::Whole);
    QCOMPARE(facts.breakReason, QString());
    QVERIFY2(qAbs(facts.decodedMs - qRound64(kSeconds * 1000)) < 200,
             qPrintable(QString::number(facts.decodedMs)));
    if (bitRate != 0) {
        QCOMPARE(facts.bitRate, bitRate);
        return;
    }
    const double ofTheFile = static_cast<double>(QFileInfo(path).size()) * 8.0 / kSeconds;
    QVERIFY2(static_cast<double>(facts.bitRate) < ofTheFile * 1.03 &&
                 static_cast<double>(facts.bitRate) > ofTheFile * 0.9,
             qPrintable(QStringLiteral("%1 of %2").arg(facts.bitRate).arg(ofTheFile)));
}

void TestFileFacts::pictureDoesNotCountForTheBitRate()
{
    const QString plain =
        media.makeTune(QStringLiteral("plain.flac"), {.seed = 2, .seconds = kSeconds});
    const QString picture = media.makePicture(QStringLiteral("cover.png"), 1200, 1200);
    const QString covered = media.addCover(QStringLiteral("covered.flac"), plain, picture);
    QVERIFY(QFileInfo(covered).size() > QFileInfo(plain).size() + 10000);
    QCOMPARE(factsOf(covered).bitRate, factsOf(plain).bitRate);
}

void TestFileFacts::wavPackWithALossyPartIsNotLossless()
{
    const QString whole = media.makeTune(QStringLiteral("whole.wv"), {.seed = 1, .seconds = 4.0});
    const auto isLosslessAtFirst = [](const QString& path) {
        chromaprint::FFmpegAudioReader reader;
        const std::int16_t* samples = nullptr;
        std::size_t frames = 0;
        if (!reader.Open(path.toStdString())) {
            qFatal("%s", reader.ErrorMessage().c_str());
        }
        reader.ReadBlock(&samples, &frames);
        return reader.Facts().isLossless;
    };
    QVERIFY(isLosslessAtFirst(whole));
    // The flag of such files in the first block. The block cannot be decoded then.
    QByteArray content = testmedia::contentOf(whole);
    QVERIFY(content.startsWith("wvpk"));
    content[24] = static_cast<char>(content.at(24) | 8);
    QVERIFY(!isLosslessAtFirst(media.write(QStringLiteral("lossy.wv"), content)));
}

void TestFileFacts::lengthIsCutShortBeyondASecondAndAPercent_data()
{
    QTest::addColumn<qint64>("statedMs");
    QTest::addColumn<qint64>("decodedMs");
    QTest::addColumn<bool>("isCut");
    const auto row = [](const char* name, qint64 statedMs, qint64 decodedMs, bool isCut) {
        QTest::newRow(name) << statedMs << decodedMs << isCut;
    };
    constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
    row("nothing stated", -1, 0, false);
    row("all there", 60000, 60000, false);
    row("more than stated", 60000, 90000, false);
    row("a second short", 60000, 59000, false);
    row("a little more than a second short", 60000, 58999, true);
    row("a percent short", 1000000, 990000, false);
    row("a little more than a percent short", 1000000, 989999, true);
    row("a second of a long one short", 1000000, 998000, false);
    row("more than a percent of a short one short", 10000, 9500, false);
    row("as much as a second of which is stated", 1000, 0, false);
    row("absurd", kLargest, 60000, true);
    row("absurd, a percent short", kLargest, kLargest - kLargest / 100, false);
}

void TestFileFacts::lengthIsCutShortBeyondASecondAndAPercent()
{
    QFETCH(const qint64, statedMs);
    QFETCH(const qint64, decodedMs);
    QTEST(fingerprint::isCutShort(statedMs, decodedMs), "isCut");
}

void TestFileFacts::missingEndIsPartialBeyondASecondAndAPercent_data()
{
    QTest::addColumn<int>("statedMs");
    QTest::addColumn<int>("presentMs");
    QTest::addColumn<QString>("reason");
    QTest::newRow("nothing missing") << 20000 << 20000 << QString();
    QTest::newRow("a second of 20") << 20000 << 19000 << QString();
    QTest::newRow("more than a second of 20")
        << 20000 << 18998 << QStringLiteral("Only 19.0 s of 20.0 s could be read");
    QTest::newRow("a percent of 200") << 200000 << 198000 << QString();
    QTest::newRow("more than a percent of 200")
        << 200000 << 197998 << QStringLiteral("Only 198.0 s of 200.0 s could be read");
    QTest::newRow("half") << 20000 << 10000
                          << QStringLiteral("Only 10.0 s of 20.0 s could be read");
}

void TestFileFacts::missingEndIsPartialBeyondASecondAndAPercent()
{
    QFETCH(const int, statedMs);
    QFETCH(const int, presentMs);
    QFETCH(const QString, reason);
    const FileFacts facts =
        factsOf(media.write(QStringLiteral("length.wav"), wavOfLength(statedMs, presentMs)));
    QCOMPARE(facts.statedMs, statedMs);
    QCOMPARE(facts.decodedMs, presentMs);
    QCOMPARE(facts.breakReason, reason);
    QCOMPARE(facts.completeness, reason.isEmpty() ? Completeness::Whole : Completeness::Partial);
}

void TestFileFacts::damagedFileIsPartial_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("cut"); // else a hole in the middle
    const auto rows = [](const char* name, const char* suffix, const char* arguments = "") {
        for (const bool cut : {true, false}) {
            QTest::addRow("%s, %s", name, cut ? "cut" : "with a hole")
                << QString::fromUtf8(suffix) << words(arguments) << cut;
        }
    };
    rows("MP3", "mp3");
    rows("MP3, variable", "mp3", "-q:a 4");
    rows("FLAC", "flac");
    rows("FLAC in Matroska", "mka", "-c:a flac");
    rows("Opus in Matroska", "mka", "-c:a libopus");
    rows("WavPack", "wv");
    rows("WMA", "wma", "-c:a wmav2");
    rows("AAC", "m4a", "-movflags +faststart");
    QTest::newRow("TTA, cut") << QStringLiteral("tta") << QStringList() << true;
    QTest::newRow("WAV, cut") << QStringLiteral("wav") << QStringList() << true;
    QTest::newRow("AIFF, cut") << QStringLiteral("aiff") << QStringList() << true;
    QTest::newRow("Vorbis, with a hole")
        << QStringLiteral("ogg") << words("-c:a libvorbis") << false;
}

void TestFileFacts::damagedFileIsPartial()
{
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    QFETCH(const bool, cut);
    const QString whole = media.makeTune(QStringLiteral("undamaged.") + suffix,
                                         {.seed = 1, .seconds = 30.0}, arguments);
    QCOMPARE(factsOf(whole).completeness, Completeness::Whole);
    const QString name = QStringLiteral("damaged.") + suffix;
    QByteArray content = testmedia::contentOf(whole);
    if (!cut) {
        content.replace(content.size() / 2, content.size() / 4,
                        QByteArray(content.size() / 4, '\0'));
    }
    const QString damaged = cut ? media.truncate(name, whole, 0.6) : media.write(name, content);
    const FileFacts facts = factsOf(damaged);
    QVERIFY(facts.statedMs > 29000);
    QVERIFY2(facts.decodedMs < 29000, qPrintable(QString::number(facts.decodedMs)));
    QCOMPARE(facts.completeness, Completeness::Partial);
    QVERIFY(!facts.breakReason.isEmpty());
    QVERIFY(facts.countsAsPartial());
}

void TestFileFacts::estimatedLengthIsNotStated_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("ADTS") << QStringLiteral("aac") << QStringList();
    QTest::newRow("MP3 without a count of its frames")
        << QStringLiteral("mp3") << words("-write_xing 0 -q:a 4");
    QTest::newRow("samples without a header")
        << QStringLiteral("sw") << words("-f s16le -ar 44100 -ac 1");
    QTest::newRow("Matroska that was written as a stream")
        << QStringLiteral("mka") << words("-c:a flac -live 1 -f matroska");
}

/** Such a length is off by any amount, so that a difference proves nothing. */
void TestFileFacts::estimatedLengthIsNotStated()
{
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    const FileFacts facts = factsOf(media.makeTune(QStringLiteral("estimated.") + suffix,
                                                   {.seed = 1, .seconds = kSeconds}, arguments));
    QCOMPARE(facts.statedMs, -1);
    QVERIFY(qAbs(facts.decodedMs - qRound64(kSeconds * 1000)) < 200);
    QCOMPARE(facts.completeness, Completeness::Whole);
}

void TestFileFacts::sizeOfAStreamIsNoStatedLength_data()
{
    QTest::addColumn<quint32>("dataBytes");
    QTest::addColumn<qint64>("statedMs");
    QTest::newRow("as large as can be") << 0xFFFFFFFFU << qint64{-1};
    QTest::newRow("two GiB") << 0x80000000U << qint64{-1};
    QTest::newRow("nearly two GiB") << 0x7FFFF000U << qint64{-1};
    QTest::newRow("nothing") << 0U << qint64{-1};
    QTest::newRow("a gigabyte") << 1600000000U << qint64{100000000};
}

/** A program that writes a WAV file to a pipe cannot go back to fill the size in. */
void TestFileFacts::sizeOfAStreamIsNoStatedLength()
{
    QFETCH(const quint32, dataBytes);
    QByteArray content = wavOfLength(10000, 10000);
    qToLittleEndian(dataBytes, content.data() + 40);
    const FileFacts facts = factsOf(media.write(QStringLiteral("piped.wav"), content));
    QTEST(facts.statedMs, "statedMs");
    QCOMPARE(facts.decodedMs, 10000);
    QCOMPARE(facts.completeness, facts.statedMs < 0 ? Completeness::Whole : Completeness::Partial);
}

void TestFileFacts::failedFileHasNoFacts()
{
    QCOMPARE(factsOf(media.write(QStringLiteral("noise.mp3"), "no audio")), FileFacts());
    QCOMPARE(factsOf(media.filePath(QStringLiteral("missing.mp3"))), FileFacts());
    QVERIFY(FileFacts().countsAsPartial());
}

QTEST_GUILESS_MAIN(TestFileFacts)
#include "tst_filefacts.moc"
