#include "support/playablemedia.h"

#include <array>

namespace testmedia {

namespace {

struct Format
{
    const char* name;
    const char* codec;
};

constexpr std::array kFormats{
    Format{"MP3.mp3", "libmp3lame"},    Format{"AAC.m4a", "aac"},
    Format{"Vorbis.ogg", "libvorbis"},  Format{"Opus in Matroska.mka", "libopus"},
    Format{"FLAC.flac", "flac"},        Format{"WMA.wma", "wmav2"},
    Format{"samples.wav", "pcm_s16le"}, Format{"ALAC.m4a", "alac"},
};

QString master()
{
    return QStringLiteral("master.flac");
}

/** The arguments that read the first \a durationMs of \a path, over and over if it is shorter. */
QStringList input(const QString& path, int durationMs)
{
    return {QStringLiteral("-stream_loop"), QStringLiteral("-1"),
            QStringLiteral("-i"),           path,
            QStringLiteral("-t"),           QStringLiteral("%1ms").arg(durationMs)};
}

} // namespace

bool PlayableMedia::isNear(qint64 valueMs, qint64 expectedMs)
{
    return qAbs(valueMs - expectedMs) <= kToleranceMs;
}

QStringList PlayableMedia::names()
{
    QStringList result;
    for (const Format& format : kFormats) {
        result.append(QString::fromLatin1(format.name));
    }
    return result;
}

PlayableMedia::PlayableMedia()
{
    const QString tune = m_folder.makeTune(master(), {.seed = 7, .seconds = kTuneMs / 1000.0});
    for (const Format& format : kFormats) {
        runFfmpeg(input(tune, kTuneMs) + QStringList{QStringLiteral("-c:a"),
                                                     QString::fromLatin1(format.codec),
                                                     path(QString::fromLatin1(format.name))});
    }
    runFfmpeg(input(tune, kLongTuneMs) + QStringList{longTune()});
}

QString PlayableMedia::path(const QString& name) const
{
    return m_folder.filePath(name);
}

QString PlayableMedia::longTune() const
{
    return path(QStringLiteral("long.flac"));
}

QString PlayableMedia::cutLongTune(const QString& name, int durationMs) const
{
    runFfmpeg(input(path(master()), durationMs) + QStringList{path(name)});
    return path(name);
}

QStringList PlayableMedia::unplayable() const
{
    constexpr qsizetype noiseBytes = 20000;
    m_folder.write(QStringLiteral("folder.wav/inside"), {});
    return {m_folder.write(QStringLiteral("noise.mp3"), QByteArray(noiseBytes, '\x5a')),
            m_folder.write(QStringLiteral("empty.ogg"), {}),
            m_folder.write(QStringLiteral("text.flac"), "no music at all\n"),
            m_folder.truncate(QStringLiteral("half.m4a"), path(QStringLiteral("AAC.m4a")), 0.5),
            path(QStringLiteral("folder.wav")),
            path(QStringLiteral("vanished.mp3"))};
}

} // namespace testmedia
