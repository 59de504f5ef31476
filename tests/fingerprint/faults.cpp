#include "faults.h"

#include <QHash>
#include <QSet>

#include <chromaprint.h>

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
}

#include <dlfcn.h>
#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

struct Plan
{
    QByteArray function;
    int result = 0;
    bool armed = false;
};

struct State
{
    QHash<QByteArray, int> calls;
    Plan next;
    Plan afterProbing;
    Plan afterDump;
    Plan drain;
    int wideEvery = 0;
    int framesDelivered = 0;
    const void* frameData = nullptr;
    int bufferChannels = 0;
    int bufferSamples = 0;
    QSet<const void*> decoders;
    bool emptyPacketNext = false;
    int packetsNotReleased = 0;
    QByteArray actionIn;
    int actionAt = 0;
    std::function<void()> action;
    bool probedSoundOnly = false;
    bool dropFeed = false;
    qint64 samplesFed = 0;
};

State state;

/** The function of that name in the library that has it. */
template <typename Function> Function* original(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool take(Plan& plan, const char* function)
{
    if (!plan.armed || plan.function != function) {
        return false;
    }
    plan.armed = false;
    return true;
}

/** Counts a call, and does what is planned for it. */
void count(const char* function)
{
    const int call = ++state.calls[function];
    if (state.action && state.actionIn == function && state.actionAt == call) {
        state.action();
    }
}

/** Counts a call; true when it is to fail with state.next.result. */
bool enter(const char* function)
{
    count(function);
    return take(state.next, function);
}

/** Puts 32-bit samples of the same values in the place of the frame's 16-bit ones. */
void widen(AVFrame* frame)
{
    AVFrame* wide = av_frame_alloc();
    wide->format = AV_SAMPLE_FMT_S32;
    wide->nb_samples = frame->nb_samples;
    wide->sample_rate = frame->sample_rate;
    av_channel_layout_copy(&wide->ch_layout, &frame->ch_layout);
    av_frame_get_buffer(wide, 0);
    const auto* from = reinterpret_cast<const qint16*>(frame->data[0]);
    auto* to = reinterpret_cast<qint32*>(wide->data[0]);
    std::transform(from, from + std::ptrdiff_t{frame->nb_samples} * frame->ch_layout.nb_channels,
                   to, [](qint16 sample) { return qint32{sample} * 65536; });
    av_frame_unref(frame);
    av_frame_move_ref(frame, wide);
    av_frame_free(&wide);
}

} // namespace

// Every function that the tests count or break. The declarations leave out what they do not need,
// so that they fit all versions of the libraries.

extern "C" {

ssize_t read(int descriptor, void* buffer, size_t size)
{
    if (state.action && state.actionIn == "read") {
        count("read");
    }
    return original<decltype(read)>("read")(descriptor, buffer, size);
}

int avformat_open_input(void** context, const char* url, const void* format, void** options)
{
    count("avformat_open_input");
    return original<decltype(avformat_open_input)>("avformat_open_input")(context, url, format,
                                                                          options);
}

int avformat_find_stream_info(void* context, void** options)
{
    uint8_t* whitelist = nullptr;
    state.probedSoundOnly = av_opt_get(context, "codec_whitelist", 0, &whitelist) >= 0 &&
                            QByteArrayView(whitelist).contains("mp3");
    av_free(whitelist);
    if (take(state.afterProbing, "avformat_find_stream_info")) {
        return state.afterProbing.result;
    }
    const int result = original<decltype(avformat_find_stream_info)>("avformat_find_stream_info")(
        context, options);
    if (state.afterProbing.armed) {
        state.next = state.afterProbing;
        state.afterProbing.armed = false;
    }
    return result;
}

void av_dump_format(void* context, int index, const char* url, int isOutput)
{
    original<decltype(av_dump_format)>("av_dump_format")(context, index, url, isOutput);
    if (state.afterDump.armed) {
        state.next = state.afterDump;
        state.afterDump.armed = false;
    }
}

void av_log_set_level(int level)
{
    count("av_log_set_level");
    original<decltype(av_log_set_level)>("av_log_set_level")(level);
}

AVPacket* av_packet_alloc()
{
    return enter("av_packet_alloc") ? nullptr
                                    : original<decltype(av_packet_alloc)>("av_packet_alloc")();
}

AVFrame* av_frame_alloc()
{
    return enter("av_frame_alloc") ? nullptr
                                   : original<decltype(av_frame_alloc)>("av_frame_alloc")();
}

int avcodec_parameters_to_context(void* context, const void* parameters)
{
    if (enter("avcodec_parameters_to_context")) {
        return state.next.result;
    }
    return original<decltype(avcodec_parameters_to_context)>("avcodec_parameters_to_context")(
        context, parameters);
}

int av_read_frame(void* context, AVPacket* packet)
{
    count("av_read_frame");
    if (packet->side_data_elems != 0 || packet->buf) {
        ++state.packetsNotReleased;
    }
    if (state.emptyPacketNext) {
        state.emptyPacketNext = false;
        av_packet_new_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, 10);
        return 0;
    }
    return original<decltype(av_read_frame)>("av_read_frame")(context, packet);
}

int avcodec_send_packet(void* context, const void* packet)
{
    count("avcodec_send_packet");
    state.decoders.insert(context);
    return original<decltype(avcodec_send_packet)>("avcodec_send_packet")(context, packet);
}

int avcodec_receive_frame(void* context, AVFrame* frame)
{
    if (enter("avcodec_receive_frame")) {
        return state.next.result;
    }
    const int result =
        original<decltype(avcodec_receive_frame)>("avcodec_receive_frame")(context, frame);
    if (result == 0) {
        if (state.wideEvery > 0 && state.framesDelivered++ / state.wideEvery % 2 == 1) {
            widen(frame);
        }
        state.frameData = frame->data[0];
    }
    return result;
}

int av_samples_alloc(uint8_t** data, int* lineSize, int channels, int samples,
                     AVSampleFormat format, int align)
{
    state.bufferChannels = channels;
    state.bufferSamples = samples;
    if (enter("av_samples_alloc")) {
        return state.next.result;
    }
    return original<decltype(av_samples_alloc)>("av_samples_alloc")(data, lineSize, channels,
                                                                    samples, format, align);
}

int swr_init(void* context)
{
    return enter("swr_init") ? state.next.result
                             : original<decltype(swr_init)>("swr_init")(context);
}

int swr_convert(void* context, void* output, int outputSamples, void* input, int inputSamples)
{
    if (!input) {
        ++state.calls["swr_convert, draining"];
        if (take(state.drain, "swr_convert")) {
            return state.drain.result;
        }
    }
    if (enter("swr_convert")) {
        return state.next.result;
    }
    return original<decltype(swr_convert)>("swr_convert")(context, output, outputSamples, input,
                                                          inputSamples);
}

ChromaprintContext* chromaprint_new(int algorithm)
{
    count("chromaprint_new");
    return original<decltype(chromaprint_new)>("chromaprint_new")(algorithm);
}

void chromaprint_free(ChromaprintContext* context)
{
    count("chromaprint_free");
    original<decltype(chromaprint_free)>("chromaprint_free")(context);
}

int chromaprint_start(ChromaprintContext* context, int rate, int channels)
{
    return enter("chromaprint_start") ? state.next.result
                                      : original<decltype(chromaprint_start)>("chromaprint_start")(
                                            context, rate, channels);
}

int chromaprint_feed(ChromaprintContext* context, const int16_t* samples, int size)
{
    if (enter("chromaprint_feed")) {
        return state.next.result;
    }
    state.samplesFed += size;
    return state.dropFeed
               ? 1
               : original<decltype(chromaprint_feed)>("chromaprint_feed")(context, samples, size);
}

int chromaprint_finish(ChromaprintContext* context)
{
    return enter("chromaprint_finish")
               ? state.next.result
               : original<decltype(chromaprint_finish)>("chromaprint_finish")(context);
}

int chromaprint_get_raw_fingerprint_size(ChromaprintContext* context, int* size)
{
    return enter("chromaprint_get_raw_fingerprint_size")
               ? state.next.result
               : original<decltype(chromaprint_get_raw_fingerprint_size)>(
                     "chromaprint_get_raw_fingerprint_size")(context, size);
}

int chromaprint_get_raw_fingerprint(ChromaprintContext* context, uint32_t** words, int* size)
{
    return enter("chromaprint_get_raw_fingerprint")
               ? state.next.result
               : original<decltype(chromaprint_get_raw_fingerprint)>(
                     "chromaprint_get_raw_fingerprint")(context, words, size);
}

} // extern "C"

namespace faults {

void reset()
{
    state = State();
}

int calls(const QByteArray& function)
{
    return state.calls.value(function);
}

void failNext(const QByteArray& function, int result)
{
    state.next = {function, result, true};
}

void failAfterProbing(const QByteArray& function, int result)
{
    state.afterProbing = {function, result, true};
}

void failAfterDump(const QByteArray& function)
{
    state.afterDump = {function, 0, true};
}

void failDrain(int result)
{
    state.drain = {"swr_convert", result, true};
}

void changeFramesToWideSamples(int frames)
{
    state.wideEvery = frames;
    state.framesDelivered = 0;
}

const void* lastFrameData()
{
    return state.frameData;
}

int lastBufferChannels()
{
    return state.bufferChannels;
}

int lastBufferSamples()
{
    return state.bufferSamples;
}

int decodersUsed()
{
    return static_cast<int>(state.decoders.size());
}

void deliverEmptyPacket()
{
    state.emptyPacketNext = true;
}

int packetsNotReleased()
{
    return state.packetsNotReleased;
}

void onCall(const QByteArray& function, int call, std::function<void()> action)
{
    state.actionIn = function;
    state.actionAt = call;
    state.action = std::move(action);
}

bool probedSoundOnly()
{
    return state.probedSoundOnly;
}

void countWithoutFeeding()
{
    state.dropFeed = true;
}

qint64 samplesFed()
{
    return state.samplesFed;
}

ChromaprintContextPrivate* newContext()
{
    return chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT);
}

void freeContext(ChromaprintContextPrivate* context)
{
    chromaprint_free(context);
}

} // namespace faults
