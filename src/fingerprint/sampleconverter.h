#pragma once

#include <memory>

struct AVChannelLayout;
struct SwrContext;

namespace chromaprint {

/** What distinguishes one stretch of raw audio from another for a converter. */
struct AudioFormat
{
    int sampleFormat = -1; // an AVSampleFormat
    int sampleRateHz = 0;
    int channels = 0;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/** Owns one SwrContext, and remembers what it was set up for. Thread: one object per thread. */
class SampleConverter
{
public:
    SampleConverter(const AudioFormat& source, const AudioFormat& target);
    ~SampleConverter();

    /**
     * Sets the options and starts the converter. \a sourceLayout has the channels of source(); the
     * target gets the default layout for its count. Returns what swr_init() returned: 0 on success.
     * Requires: called once, before context() is used.
     */
    int initialise(const AVChannelLayout& sourceLayout);

    /**
     * False when the converter holds back so much input already, for want of room in its output,
     * that it must not be given \a samples more. Requires: initialised.
     */
    bool accepts(int samples) const;

    const AudioFormat& source() const
    {
        return from;
    }
    const AudioFormat& target() const
    {
        return to;
    }
    SwrContext* context() const
    {
        return converter.get();
    }

private:
    struct ContextDeleter
    {
        void operator()(SwrContext* context) const;
    };

    AudioFormat from;
    AudioFormat to;
    std::unique_ptr<SwrContext, ContextDeleter> converter;
};

} // namespace chromaprint
