#include "fingerprint/audiofilediscovery.h"
#include "reading.h"
#include "support/media.h"

#include <QFileInfo>
#include <QTest>

using reading::isFailure;
using reading::likeness;
using testmedia::MediaFolder;
using testmedia::Tune;

/** Real media of most of the types that are searched for: one tune sounds alike in all of them. */
class TestMediaTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void differentTunesAreUnalike();
    void sameTuneIsAlikeInEveryType_data();
    void sameTuneIsAlikeInEveryType();
    void coverPictureChangesNothing_data();
    void coverPictureChangesNothing();
    void rateAndChannelsChangeLittle_data();
    void rateAndChannelsChangeLittle();
    void typeWithoutAudioGivesAnEmptyRecord_data();
    void typeWithoutAudioGivesAnEmptyRecord();
    void anyBytesOfARawTypeAreSound();

private:
    MediaFolder media;
    FingerprintRecord reference;
    FingerprintRecord other;
};

namespace {

constexpr double kSeconds = 15.0;
constexpr int kAlike = 80;
constexpr int kUnalike = 50;

QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts);
}

} // namespace

void TestMediaTypes::initTestCase()
{
    reference = reading::recordOf(
        media.makeTune(QStringLiteral("reference.wav"), {.seed = 1, .seconds = kSeconds}));
    other = reading::recordOf(
        media.makeTune(QStringLiteral("other.wav"), {.seed = 2, .seconds = kSeconds}));
}

void TestMediaTypes::differentTunesAreUnalike()
{
    QList<FingerprintRecord> records;
    for (unsigned seed = 1; seed <= 16; ++seed) {
        const Tune tune = {.seed = seed, .seconds = kSeconds, .sampleRateHz = 22050, .channels = 1};
        records.append(reading::recordOf(media.write(
            QStringLiteral("seed.wav"), testmedia::wavFile(testmedia::samplesOf(tune), 22050, 1))));
        for (qsizetype i = 0; i + 1 < records.size(); ++i) {
            const int alike = likeness(records.at(i), records.last());
            QVERIFY2(alike < kUnalike,
                     qPrintable(QStringLiteral("%1 and %2: %3").arg(i + 1).arg(seed).arg(alike)));
        }
    }
}

void TestMediaTypes::sameTuneIsAlikeInEveryType_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("film");
    const auto sound = [](const char* suffix, const char* arguments = "") {
        QTest::newRow(suffix) << QString::fromUtf8(suffix) << words(arguments) << false;
    };
    const auto film = [](const char* suffix, const char* arguments = "") {
        QTest::newRow(suffix) << QString::fromUtf8(suffix) << words(arguments) << true;
    };
    film("3g2", "-c:v mpeg4 -c:a aac");
    sound("3gp", "-c:a aac");
    sound("aac");
    sound("ac3");
    sound("al", "-f alaw -ar 44100 -ac 1");
    film("avi");
    film("f4v", "-f f4v");
    sound("flac");
    film("flv");
    sound("ism", "-f ismv -c:a aac");
    sound("isma", "-f ismv -c:a aac");
    film("ismv", "-f ismv");
    sound("m2a", "-f mp2 -c:a mp2");
    sound("m4a");
    sound("m4b", "-f ipod -c:a aac");
    film("m4v", "-f mp4");
    film("mj2", "-f mov -c:v jpeg2000 -c:a pcm_s16be");
    film("mk3d", "-f matroska -c:a libvorbis");
    sound("mka", "-c:a libopus");
    film("mkv", "-c:a libvorbis");
    film("mov");
    sound("mp2");
    sound("mp3");
    film("mp4");
    sound("mpa", "-f mp2 -c:a mp2");
    sound("ogg", "-c:a libvorbis");
    film("psp", "-f psp");
    sound("sb", "-f s8 -ar 44100 -ac 1");
    sound("sw", "-f s16le -ar 44100 -ac 1");
    sound("tta");
    sound("ub", "-f u8 -ar 44100 -ac 1");
    sound("ul", "-f mulaw -ar 44100 -ac 1");
    sound("uw", "-f u16le -ar 44100 -ac 1");
    film("webm");
    sound("wav");
    sound("wma", "-c:a wmav2");
}

void TestMediaTypes::sameTuneIsAlikeInEveryType()
{
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    QFETCH(const bool, film);
    QVERIFY(fingerprint::audioFileNamePatterns().contains(QStringLiteral("*.") + suffix));
    const QString name = QStringLiteral("types/tune.") + suffix;
    const Tune tune = {.seed = 1, .seconds = kSeconds};
    const QString path =
        film ? media.makeFilm(name, tune, arguments) : media.makeTune(name, tune, arguments);
    QVERIFY(fingerprint::findAudioFiles({QFileInfo(path).path()}).contains(path));

    const FingerprintRecord record = reading::recordOf(path);
    const QByteArray found = QByteArray::number(likeness(record, reference));
    QVERIFY2(likeness(record, reference) >= kAlike, found.constData());
    QVERIFY(likeness(record, other) < kUnalike);
    const auto [recordPath, fingerprintWords, durationMs, sampleRateHz, channels] = record;
    // Raw streams of packets tell their length only by guess.
    QVERIFY2(durationMs > 14000 && durationMs < 17000, QByteArray::number(durationMs).constData());
    QVERIFY(sampleRateHz == 44100 || sampleRateHz == 48000);
    QCOMPARE(channels, arguments.contains(QStringLiteral("1")) ? 1 : 2);
}

void TestMediaTypes::coverPictureChangesNothing_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QString>("picture");
    QTest::newRow("JPEG in MP3") << QStringLiteral("mp3") << QStringLiteral("cover.jpg");
    QTest::newRow("PNG in MP3") << QStringLiteral("mp3") << QStringLiteral("cover.png");
    QTest::newRow("JPEG in FLAC") << QStringLiteral("flac") << QStringLiteral("cover.jpg");
    QTest::newRow("PNG in M4A") << QStringLiteral("m4a") << QStringLiteral("cover.png");
}

void TestMediaTypes::coverPictureChangesNothing()
{
    QFETCH(const QString, suffix);
    QFETCH(const QString, picture);
    const QString plain =
        media.makeTune(QStringLiteral("bare.") + suffix, {.seed = 3, .seconds = kSeconds});
    const QString covered = media.addCover(QStringLiteral("covered.") + suffix, plain,
                                           media.makePicture(picture, 600, 600));
    const FingerprintRecord expected = reading::recordOf(plain);
    const FingerprintRecord record = reading::recordOf(covered);
    QVERIFY(!reading::wordsOf(record).isEmpty());
    QCOMPARE(reading::wordsOf(record), reading::wordsOf(expected));
    QCOMPARE(std::get<3>(record), 44100);
    QCOMPARE(std::get<4>(record), 2);
}

void TestMediaTypes::rateAndChannelsChangeLittle_data()
{
    QTest::addColumn<int>("rate");
    QTest::addColumn<int>("channels");
    for (const int rate : {11025, 16000, 22050, 32000, 48000, 96000}) {
        for (const int channels : {1, 2, 6}) {
            QTest::addRow("%d Hz, %d channels", rate, channels) << rate << channels;
        }
    }
}

void TestMediaTypes::rateAndChannelsChangeLittle()
{
    QFETCH(const int, rate);
    QFETCH(const int, channels);
    const FingerprintRecord record = reading::recordOf(
        media.makeTune(QStringLiteral("rate.flac"), {.seed = 1, .seconds = kSeconds},
                       {QStringLiteral("-ar"), QString::number(rate), QStringLiteral("-ac"),
                        QString::number(channels)}));
    QCOMPARE(std::get<3>(record), rate);
    QCOMPARE(std::get<4>(record), channels);
    QVERIFY2(likeness(record, reference) >= kAlike,
             QByteArray::number(likeness(record, reference)).constData());
}

void TestMediaTypes::typeWithoutAudioGivesAnEmptyRecord_data()
{
    QTest::addColumn<QString>("path");
    for (const char* suffix : {"avif", "mkv", "mp4", "avi", "mov", "webm", "flv", "mj2"}) {
        const QString name = QStringLiteral("still.") + QString::fromUtf8(suffix);
        QTest::newRow(suffix) << media.makePicture(
            name, 320, 240,
            QByteArrayView(suffix) == "mj2" ? words("-f mov -c:v jpeg2000") : QStringList());
    }
    const QString subtitles =
        media.write(QStringLiteral("text.srt"), "1\n00:00:00,000 --> 00:00:01,000\nHello\n");
    const QString mks = media.filePath(QStringLiteral("subtitles.mks"));
    testmedia::runFfmpeg(
        {QStringLiteral("-i"), subtitles, QStringLiteral("-f"), QStringLiteral("matroska"), mks});
    QTest::newRow("mks") << mks;
    for (const char* suffix : {"ape", "apl", "mac", "mpc", "shn", "tak", "ism", "psp", "mp3"}) {
        const QString name = QStringLiteral("text.") + QString::fromUtf8(suffix);
        QTest::newRow(qUtf8Printable(name)) << media.write(name, "[A link, not music]\n");
    }
    for (const char* suffix : {"mp3", "flac", "wav", "ogg", "mkv", "m4a", "al", "sw"}) {
        const QString name = QStringLiteral("empty.") + QString::fromUtf8(suffix);
        QTest::newRow(qUtf8Printable(name)) << media.write(name, {});
    }
}

void TestMediaTypes::typeWithoutAudioGivesAnEmptyRecord()
{
    QFETCH(const QString, path);
    QVERIFY(isFailure(reading::recordOf(path), path));
}

void TestMediaTypes::anyBytesOfARawTypeAreSound()
{
    const QByteArray text =
        QByteArray("Raw types are known by their names alone. ").repeated(20000);
    const FingerprintRecord record =
        reading::recordOf(media.write(QStringLiteral("text.sw"), text));
    QVERIFY(!reading::wordsOf(record).isEmpty());
    QCOMPARE(std::get<3>(record), 44100);
    QCOMPARE(std::get<4>(record), 1);
}

QTEST_GUILESS_MAIN(TestMediaTypes)
#include "tst_mediatypes.moc"
