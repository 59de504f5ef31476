#include "fingerprint/featureless.h"
#include "fingerprint/fingerprintcalculation.h"
#include "support/media.h"

#include <QTest>

using fingerprint::isFeatureless;
using testmedia::MediaFolder;

namespace {

QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(u' ', Qt::SkipEmptyParts);
}

/** The encodings of each sound. */
struct Encoding
{
    const char* name;
    const char* suffix;
    const char* arguments;
};
constexpr Encoding kEncodings[] = {{"WAV", "wav", ""},
                                   {"MP3", "mp3", "-q:a 9"},
                                   {"AAC", "m4a", "-b:a 64k"},
                                   {"Vorbis", "ogg", "-c:a libvorbis"},
                                   {"Opus", "mka", "-c:a libopus -b:a 48k -ar 48000"},
                                   {"8 kHz", "wav", "-ar 8000"}};

} // namespace

/** Which sounds have a fingerprint that hardly changes. */
class TestFeatureless : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void steadySoundIsFeatureless_data();
    void steadySoundIsFeatureless();
    void musicAndNoiseAreNot_data();
    void musicAndNoiseAreNot();
    void boundIsABitAWord_data();
    void boundIsABitAWord();

private:
    /** Encodes what ffmpeg's \a source gives and returns the fingerprint of it. */
    QList<quint32> fingerprintOf(const QStringList& source, const QByteArray& input,
                                 const QString& suffix, const QStringList& arguments) const;

    MediaFolder media;
};

QList<quint32> TestFeatureless::fingerprintOf(const QStringList& source, const QByteArray& input,
                                              const QString& suffix,
                                              const QStringList& arguments) const
{
    const QString path = media.filePath(QStringLiteral("sound.") + suffix);
    testmedia::runFfmpeg(source + arguments + QStringList{QStringLiteral("file:") + path}, input);
    const fingerprint::FingerprintOutcome outcome = fingerprint::fingerprintFile(path);
    const QList<quint32>& found = std::get<1>(outcome.record);
    if (found.isEmpty() || outcome.facts.isFeatureless != isFeatureless(found)) {
        qFatal("%s", qPrintable(path));
    }
    return found;
}

void TestFeatureless::steadySoundIsFeatureless_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    const auto rows = [](const char* name, const QString& source) {
        for (const Encoding& encoding : kEncodings) {
            QTest::addRow("%s, %s", name, encoding.name)
                << source << QString::fromLatin1(encoding.suffix) << words(encoding.arguments);
        }
    };
    rows("silence", QStringLiteral("anullsrc=r=44100:cl=stereo"));
    rows("direct current", QStringLiteral("aevalsrc=0.3"));
    for (const int hertz : {50, 60}) {
        rows(qPrintable(QStringLiteral("hum of %1 Hz").arg(hertz)),
             QStringLiteral("aevalsrc=0.1*sin(2*PI*%1*t)+0.05*sin(4*PI*%1*t)").arg(hertz));
    }
    for (const int hertz : {440, 1000, 3000}) {
        rows(qPrintable(QStringLiteral("tone of %1 Hz").arg(hertz)),
             QStringLiteral("sine=f=%1").arg(hertz));
    }
}

void TestFeatureless::steadySoundIsFeatureless()
{
    QFETCH(const QString, source);
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    QVERIFY(isFeatureless(
        fingerprintOf(words("-f lavfi -t 20 -i") + QStringList{source}, {}, suffix, arguments)));
}

void TestFeatureless::musicAndNoiseAreNot_data()
{
    QTest::addColumn<QStringList>("source");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QStringList>("arguments");
    const auto rows = [](const QString& name, const QStringList& source, const QByteArray& input) {
        for (const Encoding& encoding : kEncodings) {
            QTest::addRow("%s, %s", qPrintable(name), encoding.name)
                << source << input << QString::fromLatin1(encoding.suffix)
                << words(encoding.arguments);
        }
    };
    for (unsigned seed = 1; seed <= 3; ++seed) {
        rows(QStringLiteral("tune %1").arg(seed), words("-f s16le -ar 44100 -ac 2 -i pipe:0"),
             testmedia::samplesOf({.seed = seed, .seconds = 20.0}));
    }
    rows(QStringLiteral("noise"), words("-f lavfi -t 20 -i anoisesrc=a=0.3:seed=1"), {});
}

void TestFeatureless::musicAndNoiseAreNot()
{
    QFETCH(const QStringList, source);
    QFETCH(const QByteArray, input);
    QFETCH(const QString, suffix);
    QFETCH(const QStringList, arguments);
    QVERIFY(!isFeatureless(fingerprintOf(source, input, suffix, arguments)));
}

void TestFeatureless::boundIsABitAWord_data()
{
    QTest::addColumn<QList<quint32>>("fingerprint");
    QTest::addColumn<bool>("featureless");
    QList<quint32> alternating;
    for (int i = 0; i < 101; ++i) {
        alternating.append(i % 2 == 0 ? 5U : 4U);
    }
    QTest::newRow("no words") << QList<quint32>() << false;
    QTest::newRow("one word") << QList<quint32>{7U} << false;
    QTest::newRow("equal words") << QList<quint32>(50, 7U) << true;
    QTest::newRow("a bit a word") << alternating << false;
    alternating[100] = 4U;
    QTest::newRow("a bit less than a bit a word") << alternating << true;
}

void TestFeatureless::boundIsABitAWord()
{
    QFETCH(const QList<quint32>, fingerprint);
    QTEST(isFeatureless(fingerprint), "featureless");
}

QTEST_GUILESS_MAIN(TestFeatureless)
#include "tst_featureless.moc"
