#include "fingerprint/mediafile.h"
#include "fingerprint/oversizedparts.h"
#include "reading.h"
#include "support/media.h"

#include <QFile>
#include <QTest>

extern "C" {
#include <libavformat/avio.h>
#include <libavutil/error.h>
}

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

using chromaprint::MediaFile;
using chromaprint::OversizedParts;
using testmedia::MediaFolder;

/** How often FFmpeg has asked for the size of a file. */
static std::atomic<int> sizeQuestions = 0;
/** Whether the disk fails in the next read. */
static std::atomic<bool> failNextRead = false;

extern "C" ssize_t read(int descriptor, void* bytes, size_t count)
{
    if (failNextRead.exchange(false)) {
        errno = EIO;
        return -1;
    }
    return reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"))(descriptor, bytes, count);
}

extern "C" int fstat(int descriptor, struct stat* status) noexcept
{
    ++sizeQuestions;
    return reinterpret_cast<decltype(&fstat)>(dlsym(RTLD_NEXT, "fstat"))(descriptor, status);
}

extern "C" int fstat64(int descriptor, struct stat64* status) noexcept
{
    ++sizeQuestions;
    return reinterpret_cast<decltype(&fstat64)>(dlsym(RTLD_NEXT, "fstat64"))(descriptor, status);
}

/** Tags, pictures and zeros that are not worth what they cost. */
class TestOversizedParts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void zerosBehindTheSoundAreHidden_data();
    void zerosBehindTheSoundAreHidden();
    void tagsOfMoreThan64MibAreSkipped_data();
    void tagsOfMoreThan64MibAreSkipped();
    void flacBlocksOfMoreThan64MibAreSkipped_data();
    void flacBlocksOfMoreThan64MibAreSkipped();
    void flacPictureIsHiddenToItsLastByte_data();
    void flacPictureIsHiddenToItsLastByte();
    void bytesAreReadAsTheyAre();
    void tagLargerThanItsSmallFileIsReadAsItIs();
    void sizeIsAskedForOnceAfterEachRead();
    void fileThatGrowsIsSeenToGrow();
    void errorIsNotReportedAgainFromTheStart();

private:
    MediaFolder media;
};

namespace {

constexpr qint64 kMebibyte = qint64{1} << 20;

QByteArray littleEndian(quint32 value)
{
    QByteArray bytes;
    for (int i = 0; i < 4; ++i) {
        bytes.append(static_cast<char>(value >> (8 * i) & 0xFF));
    }
    return bytes;
}

QByteArray bigEndian(qint64 value, int count)
{
    QByteArray bytes;
    for (int i = count - 1; i >= 0; --i) {
        bytes.append(static_cast<char>(value >> (8 * i) & 0xFF));
    }
    return bytes;
}

/** An ID3v2 tag of version 2.4 with one picture, which is all zeros. */
QByteArray pictureTag(qint64 pictureSize, bool withFooter = false)
{
    const auto sevenBits = [](qint64 value) {
        QByteArray bytes;
        for (int shift = 21; shift >= 0; shift -= 7) {
            bytes.append(static_cast<char>(value >> shift & 0x7F));
        }
        return bytes;
    };
    const QByteArray content = QByteArray("\0image/jpeg\0\3\0\xFF\xD8", 16) +
                               QByteArray(static_cast<qsizetype>(pictureSize), '\0');
    const QByteArray frame = "APIC" + sevenBits(content.size()) + QByteArray(2, '\0') + content;
    const QByteArray rest =
        QByteArray("\4\0", 2) + (withFooter ? '\x10' : '\0') + sevenBits(frame.size());
    return "ID3" + rest + frame + (withFooter ? "3DI" + rest : QByteArray());
}

/** A FLAC block of \a type. */
QByteArray flacBlock(int type, const QByteArray& content)
{
    return bigEndian(type, 1) + bigEndian(content.size() & 0xFFFFFF, 3) + content;
}

/** Longer than 16 MiB, its block has a size that was cut, as some writers leave it. */
QByteArray flacPicture(qint64 size)
{
    return flacBlock(6, bigEndian(3, 4) + bigEndian(10, 4) + "image/jpeg" + bigEndian(0, 4) +
                            QByteArray(16, '\0') + bigEndian(size, 4) + "\xFF\xD8" +
                            QByteArray(static_cast<qsizetype>(size - 2), '\0'));
}

/** A 16-bit mono WAV file that says it has \a announced bytes of sound. */
QByteArray waveHeader(quint32 announced, const char* magic = "RIFF")
{
    QByteArray header = testmedia::wavFile({}, 44100, 1);
    header.replace(0, 4, magic);
    header.replace(40, 4, littleEndian(announced));
    return header;
}

/** What FFmpeg is given in the place of the file's bytes. */
class View
{
public:
    explicit View(const QString& path)
    {
        opened = file.open("file:" + path.toStdString(), {nullptr, nullptr}) == 0;
    }

    qint64 size() const
    {
        return opened ? avio_size(file.context()) : -1;
    }

    QByteArray bytes(qint64 position, int count) const
    {
        QByteArray bytes(count, '\0');
        avio_seek(file.context(), position, SEEK_SET);
        bytes.truncate(std::max(
            0, avio_read(file.context(), reinterpret_cast<unsigned char*>(bytes.data()), count)));
        return bytes;
    }

private:
    MediaFile file;
    bool opened = false;
};

FingerprintRecord recordOf(const QString& path)
{
    FingerprintRecord record = fingerprint::fingerprintFile(path).record;
    std::get<0>(record).clear();
    return record;
}

} // namespace

void TestOversizedParts::initTestCase()
{
    reading::silenceLibraries();
}

void TestOversizedParts::zerosBehindTheSoundAreHidden_data()
{
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QByteArray>("last");
    QTest::addColumn<qint64>("shown");
    const qint64 sound = 1000;
    const qint64 end = 44 + sound;
    const QByteArray ordinary = waveHeader(sound) + QByteArray(sound, '\x55');
    const qint64 large = end + 64 * kMebibyte;
    const QByteArray none = {};
    QTest::newRow("of 64 MiB") << ordinary << large << none << end;
    QTest::newRow("of less") << ordinary << large - 1 << none << large - 1;
    QTest::newRow("with anything behind them") << ordinary << large << QByteArray("\1") << large;
    QTest::newRow("not zeros from the start") << ordinary + '\1' << large << none << large;
    QTest::newRow("of a recording beyond 4 GiB")
        << ordinary << end + (qint64{1} << 32) << none << end;
    QTest::newRow("in the sound itself")
        << waveHeader(100 * kMebibyte) << 100 * kMebibyte + 44 << none << 100 * kMebibyte + 44;
    QTest::newRow("sound of no size") << waveHeader(0) << large << none << large;
    QTest::newRow("sound of unknown size") << waveHeader(0xFFFFFFFF) << large << none << large;
    QTest::newRow("sound of an odd size")
        << waveHeader(999) + QByteArray(999, '\x55') << large << none << end;
    QTest::newRow("not WAV") << waveHeader(sound, "RIFG") + QByteArray(sound, '\x55') << large
                             << none << large;
    QTest::newRow("behind a chunk of a film")
        << ordinary.first(12) + "SMV0" + littleEndian(16) + QByteArray(16, '\0') + ordinary.mid(12)
        << large << none << large;
    QTest::newRow("behind another chunk")
        << ordinary.first(12) + "LIST" + littleEndian(3) + QByteArray("abc\0", 4) + ordinary.mid(12)
        << large + 12 << none << end + 12;
}

void TestOversizedParts::zerosBehindTheSoundAreHidden()
{
    QFETCH(const QByteArray, start);
    QFETCH(const qint64, size);
    QFETCH(const QByteArray, last);
    QFETCH(const qint64, shown);
    const QString path = media.writeSparse(QStringLiteral("zeros.wav"), start, size);
    if (!last.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QFile::ReadWrite) && file.seek(size - last.size()) &&
                file.write(last) == last.size());
    }
    const View view(path);
    QCOMPARE(view.size(), shown);
    QCOMPARE(view.bytes(shown - 10, 20).size(), qsizetype{10});
    QCOMPARE(view.bytes(0, 44), start.first(44));
}

void TestOversizedParts::tagsOfMoreThan64MibAreSkipped_data()
{
    QTest::addColumn<QList<QByteArray>>("tags");
    QTest::addColumn<int>("skipped");
    const QByteArray small = pictureTag(40 * kMebibyte);
    const QByteArray large = pictureTag(65 * kMebibyte);
    QTest::newRow("none") << QList<QByteArray>{} << 0;
    QTest::newRow("one that fits") << QList<QByteArray>{small} << 0;
    // The frame's header and what precedes the picture take 26 bytes of the tag.
    QTest::newRow("one that just fits") << QList<QByteArray>{pictureTag(64 * kMebibyte - 26)} << 0;
    QTest::newRow("one a byte larger") << QList<QByteArray>{pictureTag(64 * kMebibyte - 25)} << 1;
    QTest::newRow("one that does not") << QList<QByteArray>{large} << 1;
    QTest::newRow("the second of two") << QList<QByteArray>{small, small} << 1;
    QTest::newRow("with a footer") << QList<QByteArray>{pictureTag(65 * kMebibyte, true)} << 3;
    QTest::newRow("with a footer, before another")
        << QList<QByteArray>{pictureTag(65 * kMebibyte, true), small} << 4;
}

void TestOversizedParts::tagsOfMoreThan64MibAreSkipped()
{
    QFETCH(const QList<QByteArray>, tags);
    QFETCH(const int, skipped);
    const QString tune = media.makeTune(QStringLiteral("tune.mp3"), {.seed = 1, .seconds = 5.0},
                                        {QStringLiteral("-id3v2_version"), QStringLiteral("0")});
    const QByteArray content = tags.join() + testmedia::contentOf(tune);
    const QString path = media.write(QStringLiteral("tagged.mp3"), content);

    const View view(path);
    const QByteArray shown = view.bytes(0, static_cast<int>(content.size()));
    QCOMPARE(shown.size(), content.size());
    int differences = 0;
    for (qsizetype i = 0; i < content.size(); ++i) {
        differences += shown.at(i) != content.at(i) ? 1 : 0;
    }
    QCOMPARE(differences, skipped);
    QVERIFY(!reading::wordsOf(recordOf(path)).isEmpty());
    QCOMPARE(recordOf(path), recordOf(tune));
}

void TestOversizedParts::flacBlocksOfMoreThan64MibAreSkipped_data()
{
    QTest::addColumn<QList<QByteArray>>("blocks");
    QTest::addColumn<QList<qint64>>("types"); // as shown; 1 is padding
    const QByteArray picture = flacPicture(16'000'000);
    const QByteArray cut = flacPicture(40'000'000);
    const QByteArray comment = flacBlock(4, QByteArray(16'000'000, '\0'));
    const QByteArray malformed = flacBlock(6, QByteArray(16'000'000, '\xFF'));
    const QByteArray padding = flacBlock(1, QByteArray(16'000'000, '\0'));
    QTest::newRow("that fit") << QList<QByteArray>(4, picture) << QList<qint64>{6, 6, 6, 6};
    QTest::newRow("the fifth picture")
        << QList<QByteArray>(6, picture) << QList<qint64>{6, 6, 6, 6, 1, 1};
    QTest::newRow("the fifth comment")
        << QList<QByteArray>(6, comment) << QList<qint64>{4, 4, 4, 4, 1, 1};
    QTest::newRow("malformed ones")
        << QList<QByteArray>(6, malformed) << QList<qint64>{6, 6, 6, 6, 1, 1};
    QTest::newRow("padding is no matter")
        << QList<QByteArray>{padding, padding, padding, padding, padding, picture}
        << QList<qint64>{1, 1, 1, 1, 1, 6};
    QTest::newRow("a small one behind them")
        << QList<QByteArray>{picture, picture, picture, picture, picture, flacPicture(1000)}
        << QList<qint64>{6, 6, 6, 6, 1, 6};
    QTest::newRow("pictures whose size was cut")
        << QList<QByteArray>{cut, cut, cut, flacPicture(1000)} << QList<qint64>{6, 1, 1, 6};
}

void TestOversizedParts::flacBlocksOfMoreThan64MibAreSkipped()
{
    QFETCH(const QList<QByteArray>, blocks);
    QFETCH(const QList<qint64>, types);
    const QString tune = media.makeTune(QStringLiteral("tune.flac"), {.seed = 1, .seconds = 5.0});
    const QByteArray plain = testmedia::contentOf(tune);
    // Behind the first block, which is that of the stream; further ones follow.
    constexpr qsizetype kFirst = 4 + 4 + 34;
    const QString path = media.write(QStringLiteral("pictures.flac"),
                                     plain.first(kFirst) + blocks.join() + plain.mid(kFirst));

    const View view(path);
    QList<qint64> shown;
    qint64 position = kFirst;
    for (const QByteArray& block : blocks) {
        shown.append(view.bytes(position, 1).at(0));
        position += block.size();
    }
    QCOMPARE(shown, types);
    QVERIFY(!reading::wordsOf(recordOf(path)).isEmpty());
    QCOMPARE(recordOf(path), recordOf(tune));
}

void TestOversizedParts::flacPictureIsHiddenToItsLastByte_data()
{
    QTest::addColumn<qint64>("beyond");
    for (const qint64 beyond : {0, 1, 2, 3, 4, 5, 8, 9}) {
        QTest::addRow("%lld bytes more than full blocks", beyond) << beyond;
    }
}

/** Each block has a header of four bytes, also where fewer are left. */
void TestOversizedParts::flacPictureIsHiddenToItsLastByte()
{
    QFETCH(const qint64, beyond);
    constexpr qint64 kFullBlocks = 20;
    constexpr qint64 kFullBlock = 4 + 0xFFFFFF;
    constexpr qint64 kBeforePicture = 42; // within its block
    const qint64 length = kFullBlocks * kFullBlock + beyond;
    const qint64 size = length - 4 - kBeforePicture;
    QByteArray start = "fLaC" + flacBlock(0, QByteArray(34, '\0'));
    const qint64 begin = start.size();
    start += flacBlock(6, bigEndian(3, 4) + bigEndian(10, 4) + "image/jpeg" +
                              QByteArray(4 + 16, '\0') + bigEndian(size, 4));
    start.replace(begin + 1, 3, bigEndian((size + kBeforePicture) & 0xFFFFFF, 3));
    const QByteArray sound = "sound";
    const QString path =
        media.writeSparse(QStringLiteral("huge.flac"), start, begin + length + sound.size());
    QFile file(path);
    QVERIFY(file.open(QFile::ReadWrite) && file.seek(begin + length) &&
            file.write(sound) == sound.size() && file.flush());

    const View view(path);
    qint64 position = begin;
    while (position < begin + length) {
        const QByteArray header = view.bytes(position, 4);
        QCOMPARE(header.at(0), '\1');
        position += 4 + (qint64{static_cast<uchar>(header.at(1))} << 16 |
                         qint64{static_cast<uchar>(header.at(2))} << 8 |
                         qint64{static_cast<uchar>(header.at(3))});
    }
    QCOMPARE(position, begin + length);
    QCOMPARE(view.bytes(position, 10), sound);
}

void TestOversizedParts::tagLargerThanItsSmallFileIsReadAsItIs()
{
    const QByteArray content = pictureTag(65 * kMebibyte).first(1000);
    QCOMPARE(View(media.write(QStringLiteral("cut.mp3"), content)).bytes(0, 1000), content);
}

void TestOversizedParts::bytesAreReadAsTheyAre()
{
    QByteArray content;
    for (unsigned i = 0; i < 300000; ++i) {
        content.append(static_cast<char>(i * 7919 >> 4 & 0xFF));
    }
    const View view(media.write(QStringLiteral("bytes"), content));
    QCOMPARE(view.size(), qint64{content.size()});
    QCOMPARE(view.bytes(0, 300000), content);
    for (const int position : {299999, 0, 150000, 40000, 32768, 32767, 290000, 1}) {
        QCOMPARE(view.bytes(position, 50000), content.mid(position, 50000));
    }
    QCOMPARE(view.bytes(300000, 10), QByteArray());
    QCOMPARE(view.bytes(400000, 10), QByteArray());
    QCOMPARE(view.bytes(10, 10), content.mid(10, 10));
}

/** FFmpeg asks twice for each of the empty chunks behind the sound. */
void TestOversizedParts::sizeIsAskedForOnceAfterEachRead()
{
    const QByteArray samples = testmedia::samplesOf({.seed = 1, .seconds = 5.0});
    const QString path =
        media.write(QStringLiteral("chunks.wav"),
                    testmedia::wavFile(samples, 44100, 2) + QByteArray(kMebibyte, '\0') + '\1');
    sizeQuestions = 0;
    QVERIFY(!reading::wordsOf(recordOf(path)).isEmpty());
    const int asked = sizeQuestions;
    QVERIFY2(asked > 0 && asked < 200, qPrintable(QString::number(asked)));
}

void TestOversizedParts::fileThatGrowsIsSeenToGrow()
{
    const QString path = media.write(QStringLiteral("growing"), QByteArray(1000, '\1'));
    const View view(path);
    QCOMPARE(view.size(), qint64{1000});
    QCOMPARE(view.bytes(0, 2000), QByteArray(1000, '\1'));
    QFile file(path);
    QVERIFY(file.open(QFile::Append) && file.write(QByteArray(1000, '\2')) == 1000 && file.flush());
    QCOMPARE(view.bytes(900, 1000), QByteArray(100, '\1') + QByteArray(900, '\2'));
    QCOMPARE(view.size(), qint64{2000});
}

/** A file is read from its start again where its streams were not known at first. */
void TestOversizedParts::errorIsNotReportedAgainFromTheStart()
{
    const QString path = media.write(QStringLiteral("failing"), QByteArray(1000, '\1'));
    MediaFile file;
    QCOMPARE(file.open("file:" + path.toStdString(), {nullptr, nullptr}), 0);
    std::array<unsigned char, 2000> bytes{};
    failNextRead = true;
    QCOMPARE(avio_read(file.context(), bytes.data(), bytes.size()), AVERROR(EIO));
    QVERIFY(!failNextRead);
    QCOMPARE(file.rewind(), 0);
    QCOMPARE(avio_read(file.context(), bytes.data(), bytes.size()), 1000);
    QCOMPARE(file.context()->error, 0);
}

QTEST_GUILESS_MAIN(TestOversizedParts)
#include "tst_oversizedparts.moc"
