#include "fingerprint/picturesizes.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

namespace chromaprint {

namespace {

struct ContextDeleter
{
    void operator()(AVCodecContext* context) const
    {
        avcodec_free_context(&context);
    }
};
struct ParserDeleter
{
    void operator()(AVCodecParserContext* parser) const
    {
        av_parser_close(parser);
    }
};
struct PacketDeleter
{
    void operator()(AVPacket* packet) const
    {
        av_packet_free(&packet);
    }
};
struct FrameDeleter
{
    void operator()(AVFrame* frame) const
    {
        av_frame_free(&frame);
    }
};
using Context = std::unique_ptr<AVCodecContext, ContextDeleter>;
using Parser = std::unique_ptr<AVCodecParserContext, ParserDeleter>;

Context newContext(const AVCodec* decoder, const AVCodecParameters& parameters)
{
    Context context(avcodec_alloc_context3(decoder));
    if (context && avcodec_parameters_to_context(context.get(), &parameters) < 0) {
        context.reset();
    }
    return context;
}

/**
 * How many pictures a decoder may hold: the one in progress, the one that is delivered, and those
 * that others refer to, at most 16. The number in a file's header cannot be trusted.
 */
std::int64_t picturesHeldBy(AVCodecID codec)
{
    constexpr std::int64_t kMany = 18;
    constexpr std::int64_t kSome = 10;
    constexpr std::int64_t kFew = 4;
    switch (codec) {
    case AV_CODEC_ID_H264:
    case AV_CODEC_ID_HEVC:
        return kMany;
    case AV_CODEC_ID_VP8:
    case AV_CODEC_ID_VP9:
    case AV_CODEC_ID_AV1:
        return kSome;
    default:
        return kFew;
    }
}

/** Bits in memory for each pixel; of an unknown format, those of the largest usual one. */
int bitsPerPixel(int format)
{
    constexpr int kLargestUsual = 48;
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
    const int bits = description ? av_get_padded_bits_per_pixel(description) : 0;
    return bits > 0 ? bits : kLargestUsual;
}

/** One stream of pictures. */
class Film
{
public:
    explicit Film(const AVCodecParameters& parameters)
        : picturesHeld(picturesHeldBy(parameters.codec_id))
        , decoder(avcodec_find_decoder(parameters.codec_id))
        , parser(av_parser_init(parameters.codec_id))
        , parsing(newContext(nullptr, parameters))
        , decoding(decoder ? newContext(decoder, parameters) : nullptr)
    {
        if (parser) {
            parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
        }
        if (decoding) {
            decoding->max_pixels = kLargestPicturePixels;
            decoding->thread_count = 1;
            if (avcodec_open2(decoding.get(), decoder, nullptr) < 0) {
                decoding.reset();
            }
        }
    }

    void read(const AVPacket& packet)
    {
        if (packet.size == 0) {
            return; // parser and decoder take it for the end of the stream
        }
        parse(packet);
        if (parsed == 0) {
            decode(packet);
        }
    }

    /** False where the pictures cannot be measured. Without a decoder they take no memory. */
    bool isKnown() const
    {
        return !decoder || pixels() > 0;
    }

    std::int64_t pixels() const
    {
        return parsed > 0 ? parsed : decoded;
    }

    /** Of all pictures that are held at once. */
    std::int64_t bytes() const
    {
        return pixels() * bits / 8 * picturesHeld;
    }

private:
    void parse(const AVPacket& packet)
    {
        if (!parser || !parsing) {
            return;
        }
        std::uint8_t* frame = nullptr;
        int frameSize = 0;
        av_parser_parse2(parser.get(), parsing.get(), &frame, &frameSize, packet.data, packet.size,
                         packet.pts, packet.dts, packet.pos);
        // Most parsers have the size, some set it in the context only.
        for (const auto& [width, height] : {std::pair(parser->coded_width, parser->coded_height),
                                            std::pair(parser->width, parser->height),
                                            std::pair(parsing->width, parsing->height)}) {
            parsed = std::max(parsed, std::int64_t{width} * height);
        }
        if (parsed > 0) {
            bits = std::max<std::int64_t>(bits, bitsPerPixel(parser->format));
        }
    }

    /** Only the first picture: no more is decoded later of the codecs that have no parser. */
    void decode(const AVPacket& packet)
    {
        if (!decoding) {
            return;
        }
        const std::unique_ptr<AVFrame, FrameDeleter> frame(av_frame_alloc());
        int result = frame ? avcodec_send_packet(decoding.get(), &packet) : -1;
        if (result >= 0) {
            result = avcodec_receive_frame(decoding.get(), frame.get());
        }
        if (result == AVERROR(EAGAIN)) {
            return;
        }
        if (result >= 0) {
            decoded = std::int64_t{frame->width} * frame->height;
            bits = std::max<std::int64_t>(bits, bitsPerPixel(frame->format));
        }
        // Also after a failure: the picture may have been beyond the limit.
        decoding.reset();
    }

    std::int64_t picturesHeld;
    const AVCodec* decoder;
    Parser parser;
    Context parsing;
    Context decoding;
    std::int64_t parsed = 0;
    std::int64_t decoded = 0;
    std::int64_t bits = 0;
};

} // namespace

bool needsPictureLimit(const AVCodecParameters& parameters)
{
    return parameters.codec_type == AVMEDIA_TYPE_VIDEO &&
           parameters.codec_id != AV_CODEC_ID_MJPEG && parameters.codec_id != AV_CODEC_ID_PNG;
}

bool picturesAreSmall(AVFormatContext* context)
{
    const std::unique_ptr<AVPacket, PacketDeleter> packet(av_packet_alloc());
    if (!packet) {
        return false;
    }
    // A stream may change its codec; each codec has a decoder of its own.
    std::map<std::pair<int, AVCodecID>, Film> films;
    std::int64_t bytes = 0;
    while (bytes < context->probesize && av_read_frame(context, packet.get()) >= 0) {
        const AVStream& stream = *context->streams[packet->stream_index];
        if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
            bytes += packet->size;
        }
        if (needsPictureLimit(*stream.codecpar)) {
            const std::pair key(packet->stream_index, stream.codecpar->codec_id);
            films.try_emplace(key, *stream.codecpar).first->second.read(*packet);
        }
        av_packet_unref(packet.get());
    }
    std::int64_t pixels = 0;
    std::int64_t heldBytes = 0;
    for (const auto& [key, film] : films) {
        if (!film.isKnown()) {
            return false;
        }
        pixels += film.pixels();
        heldBytes += film.bytes();
    }
    return pixels <= kLargestPicturePixels && heldBytes <= kMostHeldBytes;
}

} // namespace chromaprint
