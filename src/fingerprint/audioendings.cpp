#include "fingerprint/audioendings.h"

#include "fingerprint/mediainput.h"

extern "C" {
#include <libavcodec/codec_desc.h>
#include <libavformat/avformat.h>
}

#include <QByteArray>
#include <QByteArrayList>

#include <algorithm>
#include <array>
#include <string_view>

namespace fingerprint {

namespace {

/**
 * Formats that can only be read, have no sound, and are not named after a codec either. The last
 * may have sound, but nearly every file of its ending, "dat", is something else.
 */
constexpr std::array<std::string_view, 13> kSoundless = {
    "adf",   "aqtitle", "cdg",  "ingenient", "mcc", "mjpeg_2000", "mods",
    "mpsub", "nc",      "sdr2", "ser",       "tty", "luodat"};

void insertEndings(QSet<QString>& endings, const char* list)
{
    for (const QByteArray& ending : QByteArray(list).split(',')) {
        if (!ending.isEmpty()) {
            endings.insert(QString::fromLatin1(ending).toLower());
        }
    }
}

/** Whether \a name is that of a codec of pictures, films or texts. */
bool isOtherCodec(const QByteArray& name)
{
    const AVCodecDescriptor* codec = avcodec_descriptor_get_by_name(name.constData());
    return codec && codec->type != AVMEDIA_TYPE_AUDIO;
}

/** Finds the format in which FFmpeg writes what it reads as one of \a names; null if none. */
const AVOutputFormat* writtenAs(const QByteArrayList& names)
{
    void* position = nullptr;
    while (const AVOutputFormat* format = av_muxer_iterate(&position)) {
        const QByteArrayList written = QByteArray(format->name).split(',');
        const auto isWritten = [&written](const QByteArray& name) {
            return written.contains(name);
        };
        if (std::any_of(names.cbegin(), names.cend(), isWritten)) {
            return format;
        }
    }
    return nullptr;
}

bool hasSound(const AVInputFormat& format)
{
    const QByteArrayList names = QByteArray(format.name).split(',');
    if (const AVOutputFormat* written = writtenAs(names)) {
        return written->audio_codec != AV_CODEC_ID_NONE;
    }
    return std::none_of(names.cbegin(), names.cend(), isOtherCodec) &&
           std::find(kSoundless.begin(), kSoundless.end(), format.name) == kSoundless.end();
}

QSet<QString> findEndings()
{
    QSet<QString> endings;
    void* position = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
        if (chromaprint::isPermitted(*format) && hasSound(*format)) {
            insertEndings(endings, format->extensions);
        }
    }
    // Many formats are recognised by their content, and only what writes them has their endings.
    position = nullptr;
    while (const AVOutputFormat* format = av_muxer_iterate(&position)) {
        if ((format->flags & AVFMT_NOFILE) == 0 && format->audio_codec != AV_CODEC_ID_NONE &&
            !chromaprint::namesOtherFiles(format->name)) {
            insertEndings(endings, format->extensions);
        }
    }
    return endings;
}

} // namespace

const QSet<QString>& audioEndings()
{
    static const QSet<QString> endings = findEndings();
    return endings;
}

} // namespace fingerprint
