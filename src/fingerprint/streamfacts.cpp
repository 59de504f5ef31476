#include "fingerprint/streamfacts.h"

#include "fingerprint/headerlength.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/codec_desc.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/frame.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <cmath>
#include <string_view>

namespace chromaprint {

namespace {

/** The header of a WavPack block: its magic, the offset of its flags, and the flag of lossy ones. */
constexpr std::string_view kWavPackMagic = "wvpk";
constexpr int kWavPackFlagsOffset = 24;
constexpr int kWavPackHeaderBytes = 32;
constexpr std::uint32_t kWavPackHybrid = 0x8;

#ifdef AV_PROFILE_DTS_HD_MA
constexpr int kDtsMasterAudio = AV_PROFILE_DTS_HD_MA;
constexpr int kDtsExpress = AV_PROFILE_DTS_EXPRESS;
#else // before FFmpeg 6.1
constexpr int kDtsMasterAudio = FF_PROFILE_DTS_HD_MA;
constexpr int kDtsExpress = FF_PROFILE_DTS_EXPRESS;
#endif

/**
 * A stated bit rate this near to that of the packets is the better number: encoder delay and the
 * frames that a decoder holds back make up some percent of a file of a few seconds.
 */
constexpr double kBitRateTolerance = 0.05;

bool isLosslessCodec(const AVCodecParameters& codec, const ReadAmount& read)
{
    switch (codec.codec_id) {
    case AV_CODEC_ID_WAVPACK:
        return read.bytes() > 0 && !read.isLossyWavPack();
    case AV_CODEC_ID_DTS: // the profiles between them are variants of Master Audio
        return codec.profile >= kDtsMasterAudio && codec.profile < kDtsExpress;
    case AV_CODEC_ID_DSD_LSBF: // lossy by its descriptor, since its decoder resamples
    case AV_CODEC_ID_DSD_MSBF:
    case AV_CODEC_ID_DSD_LSBF_PLANAR:
    case AV_CODEC_ID_DSD_MSBF_PLANAR:
        return true;
    default:
        break;
    }
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec.codec_id);
    return descriptor && (descriptor->props & AV_CODEC_PROP_LOSSLESS) != 0 &&
           (descriptor->props & AV_CODEC_PROP_LOSSY) == 0;
}

int sampleBits(const AVCodecParameters& codec, bool isLossless)
{
    // Of lossy codecs the containers state sizes as well, usually the 16 of the decoder's output.
    const int fixed = av_get_exact_bits_per_sample(codec.codec_id);
    if (!isLossless || fixed > 0) {
        return fixed;
    }
    return std::max(
        codec.bits_per_raw_sample > 0 ? codec.bits_per_raw_sample : codec.bits_per_coded_sample, 0);
}

std::int64_t bitRateOf(const AVCodecParameters& codec, const ReadAmount& read)
{
    const std::int64_t stated = std::max<std::int64_t>(codec.bit_rate, 0);
    if (read.seconds() <= 0.0) {
        return stated;
    }
    constexpr double kBitsPerByte = 8.0;
    const double measured = static_cast<double>(read.bytes()) * kBitsPerByte / read.seconds();
    const double difference = std::abs(static_cast<double>(stated) - measured);
    return difference <= measured * kBitRateTolerance ? stated : std::llround(measured);
}

std::int64_t statedMsOf(const AVFormatContext& context, int index)
{
    if (context.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return lengthInHeaderMs(context, index);
    }
    const AVStream& stream = *context.streams[index];
    constexpr AVRational kMilliseconds = {1, 1000};
    std::int64_t statedMs = -1;
    if (stream.duration != AV_NOPTS_VALUE) {
        statedMs = stream.time_base.den > 0
                       ? av_rescale_q(stream.duration, stream.time_base, kMilliseconds)
                       : -1;
    } else if (context.duration != AV_NOPTS_VALUE) {
        statedMs = context.duration / (AV_TIME_BASE / 1000);
    }
    return std::max<std::int64_t>(statedMs, -1);
}

} // namespace

void ReadAmount::addPacket(const AVPacket& packet)
{
    if (packetBytes == 0 && packet.size >= kWavPackHeaderBytes &&
        std::equal(kWavPackMagic.begin(), kWavPackMagic.end(), packet.data)) {
        lossyWavPack = (AV_RL32(packet.data + kWavPackFlagsOffset) & kWavPackHybrid) != 0;
    }
    packetBytes += packet.size;
}

void ReadAmount::addFrame(const AVFrame& frame)
{
    if (frame.sample_rate > 0) {
        frameSeconds += static_cast<double>(frame.nb_samples) / frame.sample_rate;
    }
}

StreamFacts streamFactsOf(const AVFormatContext& context, int stream, const ReadAmount& read)
{
    const AVStream& chosen = *context.streams[stream];
    const AVCodecParameters& codec = *chosen.codecpar;
    const bool isLossless = isLosslessCodec(codec, read);
    return {context.iformat->name,
            avcodec_get_name(codec.codec_id),
            bitRateOf(codec, read),
            isLossless,
            sampleBits(codec, isLossless),
            statedMsOf(context, stream),
            std::llround(read.seconds() * 1000.0)};
}

} // namespace chromaprint
