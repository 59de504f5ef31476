#include "fingerprint/featureless.h"
#include "fingerprint/fingerprintcalculation.h"
#include "support/media.h"

#include <QTest>

using fingerprint::isFeatureless;
using testmedia::MediaFolder;

namespace {

constexpr double kSeconds = 8.0;

/** A lavfi source of kSeconds. */
QStringList lavfi(const QString& source)
{
    return {QStringLiteral("-f"),      QStringLiteral("lavfi"), QStringLiteral("-t"),
            QString::number(kSeconds), QStringLiteral("-i"),    source};
}

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
    void musicIsNot_data();
    void musicIsNot();
    void noiseIsNot();
    void boundIsABitAWord_data();
    void boundIsABitAWord();

private:
    /** Which encodings of what ffmpeg's \a source gives, from \a input, are featureless. */
    QStringList featurelessEncodings(const QStringList& source, const QByteArray& input = {}) const;

    MediaFolder media;
};

QStringList TestFeatureless::featurelessEncodings(const QStringList& source,
                                                  const QByteArray& input) const
{
    const auto path = [this](const Encoding& encoding) {
        return media.filePath(QStringLiteral("%1.%2").arg(QString::fromLatin1(encoding.name),
                                                          QString::fromLatin1(encoding.suffix)));
    };
    QStringList arguments = source;
    for (const Encoding& encoding : kEncodings) {
        arguments +=
            words(encoding.arguments) + QStringList{QStringLiteral("file:") + path(encoding)};
    }
    testmedia::runFfmpeg(arguments, input);
    QStringList found;
    for (const Encoding& encoding : kEncodings) {
        const fingerprint::FingerprintOutcome outcome =
            fingerprint::fingerprintFile(path(encoding));
        const QList<quint32>& fingerprint = std::get<1>(outcome.record);
        if (fingerprint.isEmpty() || outcome.facts.isFeatureless != isFeatureless(fingerprint)) {
            qFatal("%s", encoding.name);
        }
        if (outcome.facts.isFeatureless) {
            found.append(QString::fromLatin1(encoding.name));
        }
    }
    return found;
}

void TestFeatureless::steadySoundIsFeatureless_data()
{
    QTest::addColumn<QString>("source");
    QTest::newRow("silence") << QStringLiteral("anullsrc=r=44100:cl=stereo");
    QTest::newRow("direct current") << QStringLiteral("aevalsrc=0.3");
    for (const int hertz : {50, 60}) {
        QTest::addRow("hum of %d Hz", hertz)
            << QStringLiteral("aevalsrc=0.1*sin(2*PI*%1*t)+0.05*sin(4*PI*%1*t)").arg(hertz);
    }
    for (const int hertz : {440, 1000, 3000}) {
        QTest::addRow("tone of %d Hz", hertz) << QStringLiteral("sine=f=%1").arg(hertz);
    }
}

void TestFeatureless::steadySoundIsFeatureless()
{
    QFETCH(const QString, source);
    QStringList all;
    for (const Encoding& encoding : kEncodings) {
        all.append(QString::fromLatin1(encoding.name));
    }
    QCOMPARE(featurelessEncodings(lavfi(source)), all);
}

void TestFeatureless::musicIsNot_data()
{
    QTest::addColumn<unsigned>("seed");
    for (unsigned seed = 1; seed <= 3; ++seed) {
        QTest::addRow("tune %u", seed) << seed;
    }
}

void TestFeatureless::musicIsNot()
{
    QFETCH(const unsigned, seed);
    const QByteArray samples = testmedia::samplesOf({.seed = seed, .seconds = kSeconds});
    QCOMPARE(featurelessEncodings(words("-f s16le -ar 44100 -ac 2 -i pipe:0"), samples),
             QStringList());
}

void TestFeatureless::noiseIsNot()
{
    QCOMPARE(featurelessEncodings(lavfi(QStringLiteral("anoisesrc=a=0.3:seed=1"))), QStringList());
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
