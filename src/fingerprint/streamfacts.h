#pragma once

#include <cstdint>
#include <string>

struct AVFormatContext;
struct AVFrame;
struct AVPacket;

namespace chromaprint {

/** Counts what is read of one stream. Thread: Reentrant: one object per thread. */
class ReadAmount
{
public:
    void addPacket(const AVPacket& packet);
    void addFrame(const AVFrame& frame);

    /** The size of the packets. */
    std::int64_t bytes() const
    {
        return packetBytes;
    }
    /** The length of the decoded frames. */
    double seconds() const
    {
        return frameSeconds;
    }
    /** Whether the stream is WavPack that leaves out a part of the samples. */
    bool isLossyWavPack() const
    {
        return lossyWavPack;
    }

private:
    std::int64_t packetBytes = 0;
    double frameSeconds = 0.0;
    bool lossyWavPack = false;
};

/** What an opened file states of the chosen stream, and what was read of it. */
struct StreamFacts
{
    /** FFmpeg's short names. */
    std::string container;
    std::string codec;
    /**
     * In bit/s, 0 if unknown. The rate that the stream states where it is about that of the packets
     * read, else the latter: many headers state a nominal rate, or that of the first frame.
     */
    std::int64_t bitRate = 0;
    /**
     * Whether the codec is lossless. Of those that can be both, only WavPack without a lossy part
     * and the DTS profile "HD Master Audio" are taken for lossless. Uncompressed DSD is lossless.
     */
    bool isLossless = false;
    /** Of the samples that were encoded; 0 for a lossy codec without samples of a fixed size. */
    int bitsPerSample = 0;
    /**
     * The length that the stream states, else the container; -1 if neither does. A length that FFmpeg
     * has estimated from the bit rate and the size of the file is none that the file states. Where
     * it has done so because the file is shorter than stated, the header is read again.
     */
    std::int64_t statedMs = -1;
    std::int64_t decodedMs = 0;
};

/**
 * The facts of \a stream of the opened \a context, of which \a read has been read.
 * Thread: Reentrant: one object per thread.
 */
StreamFacts streamFactsOf(const AVFormatContext& context, int stream, const ReadAmount& read);

} // namespace chromaprint
