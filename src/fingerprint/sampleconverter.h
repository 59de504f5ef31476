#pragma once

#include <memory>

struct AVChannelLayout;
struct SwrContext;

namespace chromaprint {

/** The properties of raw audio that a converter is set up for. */
struct AudioFormat
{
    int sampleFormat = -1; // an AVSampleFormat
    int sampleRateHz = 0;
    int channels = 0;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/**
 * Owns one SwrContext, and remembers the formats that it was set up for.
 * Thread: Reentrant: one object per thread.
 */
class SampleConverter
{
public:
    SampleConverter(const AudioFormat& source, const AudioFormat& target);
    ~SampleConverter();

    /**
     * Sets the options and starts the converter. \a sourceLayout has the channels of source(); the
     * target gets the default layout for its count. Returns swr_init()'s result: 0 on success.
     * Requires: called once, before context() is used.
     */
    int initialise(const AVChannelLayout& sourceLayout);

    /**
     * False when the converter holds back so much input already, for lack of room in its output,
     * that it must not get \a samples more. Requires: initialised.
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
