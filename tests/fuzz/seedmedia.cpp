#include "seedmedia.h"

#include <QProcess>

#include <cstdio>

namespace fuzz {

namespace {

constexpr qsizetype kFewestPairs = 40;
constexpr double kShortSeconds = 0.25;
/** A fingerprint needs a little less. */
constexpr double kLongSeconds = 3.0;

/** One codec in one container, as ffmpeg's options; film: with moving pictures beside it. */
struct Pair
{
    const char* suffix;
    const char* arguments;
    bool film = false;
    double seconds = kShortSeconds;
};

constexpr Pair kPairs[] = {
    {"wav", "-f wav -c:a pcm_s16le -ar 11025 -ac 1", false, kLongSeconds},
    {"wav", "-f wav -c:a pcm_s16le"},
    {"wav", "-f wav -c:a pcm_u8"},
    {"wav", "-f wav -c:a pcm_s24le -ac 6"},
    {"wav", "-f wav -c:a pcm_f32le"},
    {"wav", "-f wav -c:a pcm_alaw -ar 8000"},
    {"wav", "-f wav -c:a adpcm_ms"},
    {"wav", "-f wav -c:a adpcm_ima_wav"},
    {"wav", "-f wav -c:a adpcm_yamaha"},
    {"wav", "-f wav -c:a adpcm_swf"},
    {"wav", "-f wav -c:a g726 -ar 8000 -ac 1"},
    {"wav", "-f wav -c:a libgsm_ms -ar 8000 -ac 1"},
    {"wav", "-f wav -c:a libmp3lame"},
    {"wav", "-f wav -c:a ac3"},
    {"wav", "-f wav -c:a g723_1 -ar 8000 -ac 1"},
    {"wav", "-f w64 -c:a pcm_s16le"},
    {"wav", "-f wav -rf64 always -c:a pcm_s16le"},
    {"mp3", "-f aiff -c:a pcm_s16be"},
    {"mp3", "-f caf -c:a alac"},
    {"mp3", "-f caf -c:a pcm_s16be"},
    {"mp3", "-f au -c:a pcm_mulaw"},
    {"mp3", "-f voc -c:a pcm_u8"},
    {"mp3", "-f sox -c:a pcm_s32le"},
    {"flac", "-f flac -c:a flac"},
    {"flac", "-f flac -c:a flac -ar 8000 -ac 1", false, kLongSeconds},
    {"ogg", "-f ogg -c:a flac"},
    {"ogg", "-f ogg -c:a libvorbis"},
    {"ogg", "-f ogg -c:a libvorbis -ar 11025 -ac 1", false, kLongSeconds},
    {"ogg", "-f ogg -c:a libopus"},
    {"ogg", "-f ogg -c:a libspeex -ar 16000"},
    {"mp3", "-f mp3 -c:a libmp3lame"},
    {"mp3", "-f mp3 -c:a libmp3lame -ar 16000 -ac 1 -b:a 32k", false, kLongSeconds},
    {"mp3", "-f mp3 -c:a libmp3lame -id3v2_version 0 -write_xing 0"},
    {"mp2", "-f mp2 -c:a mp2"},
    {"m4a", "-f ipod -c:a aac"},
    {"m4a", "-f ipod -c:a aac -ar 16000 -ac 1", false, kLongSeconds},
    {"m4a", "-f ipod -c:a alac"},
    {"mp4", "-f mp4 -c:a libmp3lame"},
    {"mp4", "-f mp4 -strict -2 -c:a flac"},
    {"mp4", "-f mp4 -strict -2 -c:a libopus"},
    {"mp4", "-f mp4 -movflags frag_keyframe+empty_moov -c:a aac"},
    {"mp4", "-f mp4 -c:v mpeg4 -c:a aac", true},
    {"ism", "-f ismv -c:a aac"},
    {"mov", "-f mov -c:a pcm_s16be"},
    {"mov", "-f mov -c:a adpcm_ima_qt"},
    {"mov", "-f mov -c:v mjpeg -c:a pcm_s24le", true},
    {"3gp", "-f 3gp -c:a aac"},
    {"aac", "-f adts -c:a aac"},
    {"aac", "-f adts -c:a aac -ar 16000 -ac 1", false, kLongSeconds},
    {"aac", "-f latm -c:a aac"},
    {"ac3", "-f ac3 -c:a ac3"},
    {"ac3", "-f eac3 -c:a eac3 -ac 6"},
    {"mp3", "-f dts -strict -2 -c:a dca -ar 48000"},
    {"mp3", "-f spdif -c:a ac3 -ar 48000"},
    {"mka", "-f matroska -c:a libvorbis"},
    {"mka", "-f matroska -c:a libopus"},
    {"mka", "-f matroska -c:a aac"},
    {"mka", "-f matroska -c:a flac"},
    {"mka", "-f matroska -c:a tta"},
    {"mka", "-f matroska -c:a wavpack"},
    {"mka", "-f matroska -c:a pcm_f32le"},
    {"mka", "-f matroska -c:a libopus -ac 1", false, kLongSeconds},
    {"mkv", "-f matroska -c:v mpeg4 -c:a libmp3lame", true},
    {"mkv", "-f matroska -c:v ffv1 -c:a ac3", true},
    {"webm", "-f webm -c:v libvpx -c:a libvorbis", true},
    {"avi", "-f avi -c:v mpeg4 -c:a libmp3lame", true},
    {"avi", "-f avi -c:a pcm_s16le"},
    {"avi", "-f avi -c:v mjpeg -c:a adpcm_ms", true},
    {"flv", "-f flv -c:a libmp3lame"},
    {"flv", "-f flv -c:v flv -c:a aac", true},
    {"flv", "-f flv -c:a nellymoser -ar 22050 -ac 1"},
    {"flv", "-f flv -c:a adpcm_swf"},
    {"wma", "-f asf -c:a wmav1"},
    {"wma", "-f asf -c:a wmav2"},
    {"wma", "-f asf -c:a wmav2 -ar 16000 -ac 1", false, kLongSeconds},
    {"tta", "-f tta -c:a tta"},
    {"mp3", "-f wv -c:a wavpack"},
    {"mp3", "-f mpegts -c:a mp2"},
    {"mp3", "-f mpegts -c:a aac"},
    {"mp3", "-f mpegts -strict -2 -c:a s302m -ar 48000"},
    {"mp3", "-f mpeg -c:a mp2 -ar 48000"},
    {"mp3", "-f vob -c:v mpeg2video -c:a ac3 -ar 48000", true},
    {"mp3", "-f nut -c:a libvorbis"},
    {"mp3", "-f mxf -c:v mpeg2video -c:a pcm_s16le -ar 48000", true},
    {"mp3", "-f rm -c:a ac3"},
    {"mp3", "-f rm -c:a real_144 -ar 8000 -ac 1"},
    {"mp3", "-f swf -c:a libmp3lame"},
    {"mp3", "-f truehd -strict -2 -c:a truehd -ar 48000"},
    {"mp3", "-f mlp -strict -2 -c:a mlp -ar 48000"},
    {"mp3", "-f adx -c:a adpcm_adx"},
    {"mp3", "-f sbc -c:a sbc -ar 44100"},
    {"mp3", "-f codec2 -c:a libcodec2 -ar 8000 -ac 1"},
    {"mp3", "-f aptx -c:a aptx"},
    {"mp3", "-f g722 -c:a g722 -ar 16000 -ac 1"},
    {"mp3", "-f wsaud -c:a adpcm_ima_ws"},
    {"mp3", "-f apm -c:a adpcm_ima_apm"},
    {"mp3", "-f alp -c:a adpcm_ima_alp"},
    {"mp3", "-f kvag -c:a adpcm_ima_ssi"},
    {"mp3", "-f argo_asf -c:a adpcm_argo"},
    {"mp3", "-f ircam -c:a pcm_s16le"},
    {"mp3", "-f wtv -c:v mpeg2video -c:a mp2", true},
    {"al", "-f alaw -ac 1"},
    {"sw", "-f s16le -ac 1"},
};

/** The formats that can be read but not written: their first bytes, and nothing sound after. */
QList<Seed> startsOfOtherFormats()
{
    const QByteArray filling = QByteArray::fromHex("0010000000020000004400AC000018").repeated(40);
    const auto seed = [&filling](const char* suffix, const QByteArray& start) {
        return Seed{QString::fromLatin1(suffix), start + filling};
    };
    return {seed("ape", QByteArray("MAC \x96\x0F\0\0\x34\0\0\0\x18\0\0\0\x2C\0\0\0", 20)),
            seed("ape", QByteArray("MAC \x6C\x0F\xD0\x07\0\0\x02\0\x44\xAC\0\0", 16)),
            seed("mpc", QByteArray("MP+\x07\x10\0\0\0", 8)),
            seed("mpc", QByteArray("MPCKSH\x0F\0\0\0\0\x08\x81\x23\x1B\x40", 16)),
            seed("shn", "ajkg\x02\xFB\xB1\x70\x09\xF9\x25\x59\x52\xA4\xD1\xA8"),
            seed("tak", QByteArray("tBaK\x01\x0C\0\0\x02\x80\x5E\x01", 12)),
            seed("mac", "MAC "),
            seed("apl", "[Monkey's Audio Image Link File]\n")};
}

QByteArray withTags(const testmedia::MediaFolder& folder, const QString& name)
{
    const QString tune =
        folder.makeTune(QStringLiteral("untagged-") + name, {.seed = 3, .seconds = kShortSeconds});
    const QString picture = folder.makePicture(QStringLiteral("cover.png"), 16, 16);
    const QString tagged =
        folder.addCover(name, tune, picture,
                        {QStringLiteral("-metadata"), QStringLiteral("title=A title"),
                         QStringLiteral("-metadata"), QStringLiteral("artist=Somebody")});
    return testmedia::contentOf(tagged);
}

bool writeWithFfmpeg(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral("ffmpeg"),
                  QStringList{QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-y"),
                              QStringLiteral("-nostdin")} +
                      arguments);
    return process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit &&
           process.exitCode() == 0;
}

/** Equal content every time, as far as the muxers go: no dates, no random numbers. */
QStringList argumentsOf(const Pair& pair, const QString& tune, const QString& path)
{
    QStringList arguments = {QStringLiteral("-i"), tune};
    if (pair.film) {
        arguments += {QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                      QStringLiteral("testsrc2=s=352x288:r=25:d=%1").arg(pair.seconds)};
    }
    arguments += {QStringLiteral("-fflags"), QStringLiteral("+bitexact"), QStringLiteral("-flags"),
                  QStringLiteral("+bitexact")};
    return arguments + QString::fromLatin1(pair.arguments).split(u' ') +
           QStringList{QStringLiteral("file:") + path};
}

} // namespace

QList<Seed> makeSeeds()
{
    const testmedia::MediaFolder folder;
    QList<Seed> seeds;
    unsigned number = 0;
    for (const Pair& pair : kPairs) {
        const testmedia::Tune tune = {
            .seed = ++number, .seconds = pair.seconds, .sampleRateHz = 44100, .channels = 2};
        const QString source = folder.write(
            QStringLiteral("tune.wav"), testmedia::wavFile(testmedia::samplesOf(tune), 44100, 2));
        const QString path = folder.filePath(QStringLiteral("seed"));
        if (writeWithFfmpeg(argumentsOf(pair, source, path))) {
            seeds.append({QString::fromLatin1(pair.suffix), testmedia::contentOf(path)});
        } else {
            std::printf("left out, since ffmpeg cannot write it: %s\n", pair.arguments);
        }
    }
    if (seeds.size() < kFewestPairs) {
        qFatal("only %lld pairs of codec and container", static_cast<long long>(seeds.size()));
    }
    std::printf("%lld pairs of codec and container\n", static_cast<long long>(seeds.size()));
    for (const char* suffix : {"mp3", "m4a", "flac"}) {
        const QString name = QStringLiteral("tagged.") + QString::fromLatin1(suffix);
        seeds.append({QString::fromLatin1(suffix), withTags(folder, name)});
    }
    return seeds + startsOfOtherFormats();
}

} // namespace fuzz
