#include "fingerprint/ffmpegaudioreader.h"

#include "fingerprint/decodercontext.h"
#include "fingerprint/mediaduration.h"
#include "fingerprint/mediafile.h"
#include "fingerprint/mediainput.h"
#include "fingerprint/picturesizes.h"
#include "fingerprint/sampleconverter.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace chromaprint {

namespace {

constexpr const char* kCannotOpen = "Could not open the input file";
constexpr const char* kNoAudioStream = "Could not find any audio stream in the file";
constexpr unsigned int kWholeProbe = 0; // FFmpeg's own limit, as in avformat_open_input()

constexpr int kSmallestConversionBuffer = 8192; // samples per channel
/** Real packets of audio stay below 5 MB; a decoded one can be several times as large. */
constexpr int kLargestPacket = 16 << 20;
constexpr std::size_t kReasonLength = 64; // bytes of FFmpeg's description of an error

/** FFmpeg calls this wherever it waits for input; non-zero ends the call in progress. */
int stopRequested(void* token)
{
    return static_cast<const std::stop_token*>(token)->stop_requested() ? 1 : 0;
}

AudioFormat formatOf(const AVCodecContext& decoder)
{
    return {decoder.sample_fmt, decoder.sample_rate, decoder.ch_layout.nb_channels};
}

} // namespace

FFmpegAudioReader::FFmpegAudioReader() = default;

FFmpegAudioReader::~FFmpegAudioReader()
{
    Close();
    av_dict_free(&inputOptions);
    av_freep(&conversionBuffer);
}

void FFmpegAudioReader::SetOutputSampleRate(int sampleRateHz)
{
    outputSampleRate = sampleRateHz;
}

void FFmpegAudioReader::SetOutputChannels(int channels)
{
    outputChannels = channels;
}

void FFmpegAudioReader::SetStopToken(std::stop_token stop)
{
    stopToken = std::move(stop);
}

void FFmpegAudioReader::Close()
{
    av_frame_free(&frame);
    av_packet_free(&packet);
    streamIndex = -1;
    if (codecContext) {
        releaseDecoderContext(codecContext);
        codecContext = nullptr;
    }
    if (formatContext) {
        avformat_close_input(&formatContext);
    }
    file.reset();
}

bool FFmpegAudioReader::Open(const std::string& fileName)
{
    Close();
    packet = av_packet_alloc();
    if (!packet) {
        return false;
    }
    if (!openFile(fileName) || !openDecoder()) {
        return false;
    }
    // Prints only where a debugger raises the log level; the name is a placeholder.
    av_dump_format(formatContext, 0, "foo", 0);
    frame = av_frame_alloc();
    if (!frame || !prepareConverter()) {
        return false;
    }
    opened = true;
    morePackets = true;
    moreFrames = true;
    decodeErrorCount = 0;
    amountRead = {};
    formatChanged = false;
    return true;
}

bool FFmpegAudioReader::openFile(const std::string& fileName)
{
    limitAllocations();
    const MediaInput input = inspectInput(fileName);
    if (input.refusal != 0) {
        return fail(kCannotOpen, input.refusal);
    }
    file = std::make_unique<MediaFile>();
    int result = file->open(input.url, {stopRequested, &stopToken});
    if (result < 0) {
        return fail(kCannotOpen, result);
    }
    const AVInputFormat* format = inputFormat;
    if (!format) {
        result = findFormat(file->context(), input.url, kWholeProbe, &format);
        if (result < 0) {
            return fail(kCannotOpen, result);
        }
    }
    if (isPictureSeries(*format)) {
        return fail(kNoAudioStream, AVERROR_STREAM_NOT_FOUND);
    }
    result = openContainer(format, input.url);
    if (result < 0) {
        return fail(kCannotOpen, result);
    }
    result = findStreams(format, input.url);
    if (result < 0) {
        // Misspelled on purpose: who searches logs for this message knows this spelling.
        return fail("Coud not find stream information in the file", result);
    }
    return true;
}

int FFmpegAudioReader::openContainer(const AVInputFormat* format, const std::string& url)
{
    formatContext = avformat_alloc_context();
    if (!formatContext) {
        return AVERROR(ENOMEM);
    }
    formatContext->interrupt_callback = {stopRequested, &stopToken};
    formatContext->format_whitelist = av_strdup(permittedFormats().c_str());
    formatContext->protocol_whitelist = av_strdup(file->permittedProtocols());
    if (!formatContext->format_whitelist || !formatContext->protocol_whitelist) {
        return AVERROR(ENOMEM);
    }
    formatContext->pb = file->context();
    return avformat_open_input(&formatContext, url.c_str(), format, &inputOptions);
}

int FFmpegAudioReader::findStreams(const AVInputFormat* format, const std::string& url)
{
    if ((formatContext->ctx_flags & AVFMTCTX_NOHEADER) == 0) {
        return findStreamInfo(formatContext);
    }
    if (!file->canRewind()) {
        return findStreamInfoOfSoundOnly(formatContext);
    }
    // Streams may appear later, where no limit reaches them. So their pictures are measured first,
    // in a container of their own: what is read there is lost.
    const bool areSmall = picturesAreSmall(formatContext);
    avformat_close_input(&formatContext);
    int result = file->rewind();
    if (result >= 0) {
        result = openContainer(format, url);
    }
    if (result < 0) {
        return result;
    }
    return areSmall ? avformat_find_stream_info(formatContext, nullptr)
                    : findStreamInfoOfSoundOnly(formatContext);
}

bool FFmpegAudioReader::openDecoder()
{
    const AVCodec* decoder = nullptr;
    int result = av_find_best_stream(formatContext, AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (result < 0) {
        return fail(kNoAudioStream, result);
    }
    streamIndex = result;
    codecContext = newDecoderContext(decoder);
    if (!codecContext) {
        return fail("Could not open the codec", AVERROR(ENOMEM));
    }
    const AVStream& stream = *formatContext->streams[streamIndex];
    result = avcodec_parameters_to_context(codecContext, stream.codecpar);
    if (result < 0) {
        return fail("Could not copy the stream parameters", result);
    }
    result = avcodec_open2(codecContext, decoder, nullptr);
    if (result < 0) {
        return fail("Could not open the codec", result);
    }
    return true;
}

bool FFmpegAudioReader::prepareConverter()
{
    const AudioFormat source = formatOf(*codecContext);
    if (outputSampleRate == 0) {
        outputSampleRate = source.sampleRateHz;
    }
    if (outputChannels == 0) {
        outputChannels = source.channels;
    }
    if (source == outputFormat()) {
        converting = resampler && resampler->source() == source &&
                     resampler->target().channels == outputChannels;
        return true;
    }
    converting = true;
    resampler = std::make_unique<SampleConverter>(source, outputFormat());
    const int result = resampler->initialise(codecContext->ch_layout);
    if (result != 0) {
        return fail("Could not create an audio converter instance", result);
    }
    return true;
}

bool FFmpegAudioReader::ReadBlock(const std::int16_t** samples, std::size_t* frameCount)
{
    *samples = nullptr;
    *frameCount = 0;
    if (!opened || !frame) {
        return false;
    }
    while (true) {
        if (stopToken.stop_requested()) {
            return fail("Error reading from the audio source", AVERROR_EXIT);
        }
        if (!sendPacket()) {
            return false;
        }
        const int received = avcodec_receive_frame(codecContext, frame);
        if (received == AVERROR(EAGAIN) && morePackets) {
            if (!fetchPacket()) {
                return false;
            }
            continue;
        }
        // The decoder is never flushed: the few milliseconds that it holds back at the end of the
        // file are left out of every fingerprint, and all must be made alike.
        if (received == AVERROR_EOF || received == AVERROR(EAGAIN)) {
            moreFrames = false;
        } else if (received < 0) {
            return fail("Error decoding the audio source", received);
        }
        if (frame->nb_samples > 0) {
            amountRead.addFrame(*frame);
            return deliverFrame(received, samples, frameCount);
        }
        if (!converting) {
            return true;
        }
        if (!morePackets && !moreFrames) {
            return convert(nullptr, 0, received, samples, frameCount);
        }
    }
}

/** Sends a packet that holds data to the decoder; keeps one that it cannot take yet. */
bool FFmpegAudioReader::sendPacket()
{
    if (packet->size == 0) {
        return true;
    }
    const int result = avcodec_send_packet(codecContext, packet);
    if (result == 0) {
        av_packet_unref(packet);
    } else if (result != AVERROR(EAGAIN)) {
        return fail("Error reading from the audio source", result);
    }
    return true;
}

/** Reads the next packet of the chosen stream, unless one is still to be sent. */
bool FFmpegAudioReader::fetchPacket()
{
    if (packet->size != 0) {
        return true;
    }
    do {
        // A packet without data can still own side data.
        av_packet_unref(packet);
        const int result = av_read_frame(formatContext, packet);
        if (result == AVERROR_EOF) {
            morePackets = false;
            return true;
        }
        if (result < 0) {
            return fail("Error reading from the audio source", result);
        }
    } while (packet->stream_index != streamIndex);
    if (packet->size > kLargestPacket) {
        return fail("Error reading from the audio source", AVERROR(ENOMEM));
    }
    ++packetCounter;
    amountRead.addPacket(*packet);
    return true;
}

bool FFmpegAudioReader::deliverFrame(int receiveResult, const std::int16_t** samples,
                                     std::size_t* frameCount)
{
    if (!followFormatChange()) {
        return false;
    }
    if (!converting) {
        *samples = reinterpret_cast<const std::int16_t*>(frame->data[0]);
        *frameCount = static_cast<std::size_t>(frame->nb_samples);
        return true;
    }
    if (!reserveConversionBuffer(frame->nb_samples, resampler->source().channels)) {
        return false;
    }
    if (!resampler->accepts(frame->nb_samples)) {
        return fail("Couldn't convert audio", receiveResult);
    }
    return convert(const_cast<const std::uint8_t**>(frame->extended_data), frame->nb_samples,
                   receiveResult, samples, frameCount);
}

/**
 * Converts \a planeSamples samples, or drains the converter when \a planes is null. A failure is
 * reported with \a receiveResult, the result of the decoder's last call, and not with the
 * converter's own: that is what this message has always carried.
 */
bool FFmpegAudioReader::convert(const std::uint8_t** planes, int planeSamples, int receiveResult,
                                const std::int16_t** samples, std::size_t* frameCount)
{
    const int converted = swr_convert(resampler->context(), &conversionBuffer,
                                      conversionBufferCapacity, planes, planeSamples);
    if (converted < 0) {
        return fail("Couldn't convert audio", receiveResult);
    }
    *samples = reinterpret_cast<const std::int16_t*>(conversionBuffer);
    *frameCount = static_cast<std::size_t>(converted);
    return true;
}

/**
 * Replaces the converter where the frame has another format. A stream may change its format at any
 * frame, and may change back; a converter set up for another format reads past the end of the
 * samples.
 */
bool FFmpegAudioReader::followFormatChange()
{
    const AudioFormat target = outputFormat();
    const AudioFormat expected = converting ? resampler->source() : target;
    const AudioFormat delivered = {frame->format, frame->sample_rate, frame->ch_layout.nb_channels};
    if (delivered == expected) {
        return true;
    }
    formatChanged = true;
    converting = false;
    if (delivered == target) {
        return true;
    }
    auto converter = std::make_unique<SampleConverter>(delivered, target);
    const int result = converter->initialise(frame->ch_layout);
    if (result != 0) {
        return fail("Could not create an audio converter instance", result);
    }
    resampler = std::move(converter);
    converting = true;
    return true;
}

/**
 * Sizes the conversion buffer by the frame, never by the output: the ratio of two sample rates can
 * be millions, and the converter keeps what does not fit.
 */
bool FFmpegAudioReader::reserveConversionBuffer(int frameSamples, int frameChannels)
{
    // The decoder's channel count is enough for the output, which has no more channels (see
    // SetOutputChannels()), as long as the stream stays what it was when it was opened.
    const int channels = formatChanged ? std::max(frameChannels, outputChannels) : frameChannels;
    if (frameSamples <= conversionBufferCapacity && channels <= conversionBufferChannels) {
        return true;
    }
    av_freep(&conversionBuffer);
    const int capacity =
        std::max({frameSamples, conversionBufferCapacity, kSmallestConversionBuffer});
    conversionBufferCapacity = 0;
    const int result =
        av_samples_alloc(&conversionBuffer, nullptr, channels, capacity, AV_SAMPLE_FMT_S16, 1);
    if (result < 0) {
        return fail("Couldn't allocate audio converter buffer", result);
    }
    conversionBufferCapacity = capacity;
    conversionBufferChannels = channels;
    return true;
}

bool FFmpegAudioReader::AtEnd() const
{
    return !morePackets && !moreFrames;
}

int FFmpegAudioReader::OutputSampleRate() const
{
    return outputSampleRate;
}

int FFmpegAudioReader::OutputChannels() const
{
    return outputChannels;
}

int FFmpegAudioReader::DurationMs() const
{
    if (!formatContext || streamIndex < 0) {
        return -1;
    }
    return durationMsOf(*formatContext, streamIndex);
}

StreamFacts FFmpegAudioReader::Facts() const
{
    return streamFactsOf(*formatContext, streamIndex, amountRead);
}

const std::string& FFmpegAudioReader::ErrorMessage() const
{
    return errorMessage;
}

int FFmpegAudioReader::ErrorCode() const
{
    return errorCode;
}

bool FFmpegAudioReader::HadReadError() const
{
    return formatContext && formatContext->pb && formatContext->pb->error < 0;
}

AudioFormat FFmpegAudioReader::outputFormat() const
{
    return {AV_SAMPLE_FMT_S16, outputSampleRate, outputChannels};
}

/** Stores an error. Returns false, so that a failing function can return it. */
bool FFmpegAudioReader::fail(const char* text, int code)
{
    errorMessage = text;
    errorCode = code;
    std::array<char, kReasonLength> reason{};
    if (code < 0 && av_strerror(code, reason.data(), reason.size()) == 0) {
        errorMessage.append(" (").append(reason.data()).append(")");
    }
    return false;
}

} // namespace chromaprint
