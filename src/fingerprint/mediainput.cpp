#include "fingerprint/mediainput.h"

#include "fingerprint/picturesizes.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>
#include <vector>

namespace chromaprint {

namespace {

constexpr std::string_view kStandardInput = "pipe:0";

/** Opens a numbered picture, its neighbours, and every file that a pattern in a name matches. */
constexpr std::string_view kPictureSeries = "image2";

/**
 * Playlists, manifests, indexes and scripts. FFmpeg recognises them by content, whatever the file
 * is called, and then opens all that they name: other files of the user, themselves again until
 * no file descriptor is left, or endless streams that no interrupt callback ends.
 */
constexpr std::array<std::string_view, 15> kFormatsNamingOtherFiles = {"hls",
                                                                       "dash",
                                                                       "concat",
                                                                       "concatf",
                                                                       "imf",
                                                                       "vobsub",
                                                                       "sdp",
                                                                       "rtsp",
                                                                       "rtp",
                                                                       "sap",
                                                                       "webm_dash_manifest",
                                                                       kPictureSeries,
                                                                       "tedcaptions",
                                                                       "avisynth",
                                                                       "vapoursynth"};

/**
 * The largest single allocation. Of thousands of real files, none took more than 92 MB in total to
 * decode. Pictures and indexes of absurd size reach the limit; such streams cannot be decoded.
 * The index of an MP4 file, the one structure that grows with the length of the audio, reaches it
 * after some 36 hours at 44.1 kHz.
 */
constexpr std::size_t kLargestAllocation = std::size_t{128} << 20;

std::string listPermittedFormats()
{
    std::string list;
    void* position = nullptr;
    while (const AVInputFormat* format = av_demuxer_iterate(&position)) {
        if (!isPermitted(*format)) {
            continue;
        }
        if (!list.empty()) {
            list += ',';
        }
        list += format->name;
    }
    return list;
}

std::string listAudioDecoders()
{
    std::string list;
    void* position = nullptr;
    while (const AVCodec* codec = av_codec_iterate(&position)) {
        if (codec->type != AVMEDIA_TYPE_AUDIO || av_codec_is_decoder(codec) == 0) {
            continue;
        }
        if (!list.empty()) {
            list += ',';
        }
        list += codec->name;
    }
    return list;
}

std::filesystem::path toPath(const std::string& fileName)
{
#ifdef _WIN32
    return std::filesystem::path(std::u8string(fileName.begin(), fileName.end()));
#else
    return {fileName};
#endif
}

int refusalOf(const std::string& fileName)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(toPath(fileName), error);
    switch (status.type()) {
    case std::filesystem::file_type::regular:
        return 0;
    case std::filesystem::file_type::directory:
        return AVERROR(EISDIR);
    case std::filesystem::file_type::not_found:
    case std::filesystem::file_type::none:
        return AVERROR(error ? error.default_error_condition().value() : ENOENT);
    default:
        return AVERROR(EINVAL);
    }
}

} // namespace

bool namesOtherFiles(std::string_view names)
{
    while (true) {
        const std::size_t comma = names.find(',');
        if (std::find(kFormatsNamingOtherFiles.begin(), kFormatsNamingOtherFiles.end(),
                      names.substr(0, comma)) != kFormatsNamingOtherFiles.end()) {
            return true;
        }
        if (comma == std::string_view::npos) {
            return false;
        }
        names.remove_prefix(comma + 1);
    }
}

bool isPermitted(const AVInputFormat& format)
{
    return (format.flags & AVFMT_NOFILE) == 0 && !namesOtherFiles(format.name);
}

MediaInput inspectInput(const std::string& fileName)
{
    if (fileName == kStandardInput) {
        return {0, fileName};
    }
    return {refusalOf(fileName), "file:" + fileName};
}

const std::string& permittedFormats()
{
    static const std::string list = listPermittedFormats();
    return list;
}

void limitAllocations()
{
    static std::once_flag once;
    std::call_once(once, [] { av_max_alloc(kLargestAllocation); });
}

int findFormat(AVIOContext* file, const std::string& url, unsigned int probeSize,
               const AVInputFormat** format)
{
    // As avformat_open_input() does: first by the name alone, then by the content.
    const AVProbeData name = {url.c_str(), nullptr, 0, nullptr};
    constexpr int kNotOpened = 0;
    int score = AVPROBE_SCORE_RETRY;
    *format = av_probe_input_format2(&name, kNotOpened, &score);
    if (*format) {
        return 0;
    }
    constexpr unsigned int kFromStart = 0;
    const int result =
        av_probe_input_buffer2(file, format, url.c_str(), nullptr, kFromStart, probeSize);
    return std::min(result, 0);
}

bool isPictureSeries(const AVInputFormat& format)
{
    return std::string_view(format.name) == kPictureSeries;
}

int findStreamInfo(AVFormatContext* context)
{
    std::vector<AVDictionary*> options(context->nb_streams, nullptr);
    for (std::size_t i = 0; i < options.size(); ++i) {
        if (needsPictureLimit(*context->streams[i]->codecpar)) {
            av_dict_set_int(&options[i], "max_pixels", kLargestPicturePixels, 0);
        }
    }
    const int result = avformat_find_stream_info(context, options.data());
    for (AVDictionary*& option : options) {
        av_dict_free(&option);
    }
    return result;
}

int findStreamInfoOfSoundOnly(AVFormatContext* context)
{
    static const std::string audioDecoders = listAudioDecoders();
    context->codec_whitelist = av_strdup(audioDecoders.c_str());
    return context->codec_whitelist ? avformat_find_stream_info(context, nullptr) : AVERROR(ENOMEM);
}

} // namespace chromaprint
