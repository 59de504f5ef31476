#include "fingerprint/headerlength.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <vector>

namespace chromaprint {

namespace {

using namespace std::string_view_literals;

constexpr int kMostChunks = 100;
constexpr int kFourBytes = 4;
/** "RIFF", the size of the rest, and "WAVE". */
constexpr std::int64_t kRiffHeaderBytes = 12;
/**
 * Programs that cannot know the size beforehand write one near 2 or 4 GiB. What is really as large
 * has another header, or may break off unnoticed.
 */
constexpr std::int64_t kNoSizeFrom = 0x7FFF0000;

/** The object with a file's properties in an ASF header, and offsets in it. */
constexpr auto kFileProperties =
    "\xA1\xDC\xAB\x8C\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65"sv;
constexpr std::size_t kPlayTimeOffset = 64;
constexpr std::size_t kPrerollOffset = 80;
constexpr std::size_t kFlagsOffset = 88;
constexpr std::size_t kFilePropertiesBytes = 104;
constexpr std::uint32_t kBroadcast = 1;
constexpr std::uint64_t kPlayTimeUnitsPerMs = 10000;
/** The object comes early, but text and pictures may come before it. */
constexpr std::size_t kAsfHeaderBytes = 1 << 16;

/** The size of the samples in bytes, -1 if the header states none. */
std::int64_t wavDataBytes(AVIOContext* file)
{
    std::array<char, kFourBytes> name{};
    const auto isNext = [&](std::string_view expected) {
        return avio_read(file, reinterpret_cast<unsigned char*>(name.data()), kFourBytes) ==
                   kFourBytes &&
               std::string_view(name.data(), name.size()) == expected;
    };
    if (avio_seek(file, 0, SEEK_SET) < 0 || !isNext("RIFF"sv) ||
        avio_seek(file, kRiffHeaderBytes, SEEK_SET) < 0) {
        return -1;
    }
    for (int chunk = 0; chunk < kMostChunks && avio_feof(file) == 0; ++chunk) {
        const bool isData = isNext("data"sv);
        const std::int64_t bytes = avio_rl32(file);
        if (isData) {
            return bytes > 0 && bytes < kNoSizeFrom ? bytes : -1;
        }
        // Chunks begin at even places.
        if (avio_skip(file, bytes + bytes % 2) < 0) {
            break;
        }
    }
    return -1;
}

std::int64_t wavLengthMs(AVIOContext* file, const AVCodecParameters& codec)
{
    const std::int64_t bitsPerSecond = std::int64_t{av_get_bits_per_sample(codec.codec_id)} *
                                       codec.ch_layout.nb_channels * codec.sample_rate;
    const std::int64_t bytes = bitsPerSecond > 0 ? wavDataBytes(file) : -1;
    constexpr std::int64_t kBitsPerByteAndMsPerSecond = 8 * 1000;
    return bytes < 0 ? -1 : av_rescale(bytes, kBitsPerByteAndMsPerSecond, bitsPerSecond);
}

std::int64_t asfLengthMs(AVIOContext* file)
{
    std::vector<unsigned char> header(kAsfHeaderBytes);
    if (avio_seek(file, 0, SEEK_SET) < 0) {
        return -1;
    }
    const int count = avio_read(file, header.data(), static_cast<int>(header.size()));
    header.resize(static_cast<std::size_t>(std::max(count, 0)));
    const auto found = std::search(header.begin(), header.end(), kFileProperties.begin(),
                                   kFileProperties.end(), [](unsigned char byte, char expected) {
                                       return byte == static_cast<unsigned char>(expected);
                                   });
    const auto at = static_cast<std::size_t>(found - header.begin());
    if (header.size() < kFilePropertiesBytes || at > header.size() - kFilePropertiesBytes) {
        return -1;
    }
    const unsigned char* properties = header.data() + at;
    const std::uint64_t playTimeMs = AV_RL64(properties + kPlayTimeOffset) / kPlayTimeUnitsPerMs;
    const std::uint64_t prerollMs = AV_RL64(properties + kPrerollOffset);
    const bool isStated = (AV_RL32(properties + kFlagsOffset) & kBroadcast) == 0;
    return isStated && playTimeMs > prerollMs ? static_cast<std::int64_t>(playTimeMs - prerollMs)
                                              : -1;
}

} // namespace

std::int64_t lengthInHeaderMs(const AVFormatContext& context, int stream)
{
    const std::string_view container = context.iformat->name;
    AVIOContext* file = context.pb;
    if ((container != "wav"sv && container != "asf"sv) || !file ||
        (file->seekable & AVIO_SEEKABLE_NORMAL) == 0) {
        return -1;
    }
    const std::int64_t place = avio_tell(file);
    const std::int64_t lengthMs = container == "wav"sv
                                      ? wavLengthMs(file, *context.streams[stream]->codecpar)
                                      : asfLengthMs(file);
    avio_seek(file, place, SEEK_SET);
    return lengthMs;
}

} // namespace chromaprint
