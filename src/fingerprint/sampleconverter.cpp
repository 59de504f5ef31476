#include "fingerprint/sampleconverter.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace chromaprint {

namespace {

// The resampling quality: a short filter with linear interpolation and an early cutoff. A
// fingerprint uses nothing above a few kHz, so speed counts more than fidelity. Every fingerprint
// depends on these numbers.
constexpr int kBuiltInEngine = 0;
constexpr int kFilterSize = 16;
constexpr int kPhaseShift = 8;
constexpr int kLinearInterpolation = 1;
constexpr double kCutoff = 0.8;

constexpr int kNoSearchFlags = 0;

/**
 * The most input that a converter may hold back, in bytes. It grows where the header claims a rate
 * of a few hertz: each sample is thousands in the output, and each frame takes one buffer of it.
 * The library doubles its store, at worst to four times what it holds, and loses all of it when an
 * allocation fails; this limit keeps it below the limit on one allocation.
 */
constexpr std::int64_t kLargestBacklog = std::int64_t{30} << 20;
constexpr int kSmallestSample = 2; // bytes; 8-bit samples are held as 16-bit ones

} // namespace

void SampleConverter::ContextDeleter::operator()(SwrContext* context) const
{
    swr_free(&context);
}

SampleConverter::SampleConverter(const AudioFormat& source, const AudioFormat& target)
    : from(source)
    , to(target)
    , converter(swr_alloc())
{
}

SampleConverter::~SampleConverter() = default;

int SampleConverter::initialise(const AVChannelLayout& sourceLayout)
{
    SwrContext* context = converter.get();
    if (!context) {
        return AVERROR(ENOMEM);
    }
    AVChannelLayout targetLayout{};
    av_channel_layout_default(&targetLayout, to.channels);

    av_opt_set_int(context, "resampler", kBuiltInEngine, kNoSearchFlags);
    av_opt_set_int(context, "filter_size", kFilterSize, kNoSearchFlags);
    av_opt_set_int(context, "phase_shift", kPhaseShift, kNoSearchFlags);
    av_opt_set_int(context, "linear_interp", kLinearInterpolation, kNoSearchFlags);
    av_opt_set_double(context, "cutoff", kCutoff, kNoSearchFlags);
    av_opt_set_sample_fmt(context, "in_sample_fmt", static_cast<AVSampleFormat>(from.sampleFormat),
                          kNoSearchFlags);
    av_opt_set_int(context, "in_sample_rate", from.sampleRateHz, kNoSearchFlags);
    av_opt_set_chlayout(context, "in_chlayout", &sourceLayout, kNoSearchFlags);
    av_opt_set_sample_fmt(context, "out_sample_fmt", static_cast<AVSampleFormat>(to.sampleFormat),
                          kNoSearchFlags);
    av_opt_set_int(context, "out_sample_rate", to.sampleRateHz, kNoSearchFlags);
    av_opt_set_chlayout(context, "out_chlayout", &targetLayout, kNoSearchFlags);
    av_channel_layout_uninit(&targetLayout);

    return swr_init(context);
}

bool SampleConverter::accepts(int samples) const
{
    const std::int64_t held = swr_get_delay(converter.get(), from.sampleRateHz);
    const int sampleSize = std::max(
        av_get_bytes_per_sample(static_cast<AVSampleFormat>(from.sampleFormat)), kSmallestSample);
    return (held + samples) * from.channels * sampleSize <= kLargestBacklog;
}

} // namespace chromaprint
