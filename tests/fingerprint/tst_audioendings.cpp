#include "fingerprint/audioendings.h"
#include "fingerprint/audiofilediscovery.h"

#include <QTest>

using fingerprint::audioEndings;

/** Which endings are those of sound. */
class TestAudioEndings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endingIsOneOfSoundOrNot_data();
    void endingIsOneOfSoundOrNot();
    void endingsOfThePatternsAreAmongThem();
    void endingsAreInLowerCaseAndWithoutADot();
};

void TestAudioEndings::endingIsOneOfSoundOrNot_data()
{
    QTest::addColumn<QString>("ending");
    QTest::addColumn<bool>("isOfSound");
    const auto rows = [](bool isOfSound, const char* endings) {
        for (const QString& ending : QString::fromLatin1(endings).split(QLatin1Char(' '))) {
            QTest::newRow(qPrintable(ending)) << ending << isOfSound;
        }
    };
    // Read and written, written under further endings, only read, and films with sound.
    rows(true, "mp3 flac wav gsm opus oga spx aiff aif wv au caf amr ra w64 ape mpc vqf shn aax xm "
               "mpg ts vob ogv wmv");
    // Pictures, films without sound, subtitles, lists, texts and whatever else.
    rows(false,
         "jpg png gif bmp webp tif svg ico h264 hevc y4m yuv obu srt ass vtt sub sup scc lrc "
         "idx cdg m3u m3u8 pls cue mpd sdp txt nfo asc csv json tsv xml html md pdf log db "
         "dat v cgi c cpp py sh exe zip");
}

void TestAudioEndings::endingIsOneOfSoundOrNot()
{
    QFETCH(const QString, ending);
    QFETCH(const bool, isOfSound);
    QCOMPARE(audioEndings().contains(ending), isOfSound);
}

void TestAudioEndings::endingsOfThePatternsAreAmongThem()
{
    for (const QString& pattern : fingerprint::audioFileNamePatterns()) {
        QVERIFY2(audioEndings().contains(pattern.mid(2)), qPrintable(pattern));
    }
}

void TestAudioEndings::endingsAreInLowerCaseAndWithoutADot()
{
    for (const QString& ending : audioEndings()) {
        QVERIFY2(!ending.isEmpty() && ending == ending.toLower() &&
                     !ending.contains(QLatin1Char('.')),
                 qPrintable(ending));
    }
}

QTEST_GUILESS_MAIN(TestAudioEndings)
#include "tst_audioendings.moc"
