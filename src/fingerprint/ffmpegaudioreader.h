#pragma once

#include "fingerprint/streamfacts.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

struct AVCodecContext;
struct AVDictionary;
struct AVFormatContext;
struct AVFrame;
struct AVInputFormat;
struct AVPacket;

namespace chromaprint {

struct AudioFormat;
class MediaFile;
class SampleConverter;

/**
 * Decodes one audio file at a time into interleaved signed 16-bit samples.
 *
 * The file's best audio stream is decoded and, where its format differs from the requested one,
 * converted. Use: construct, optionally set the output format, Open(), ReadBlock() while not
 * AtEnd(), then Close() or destroy.
 *
 * Where the sample rate, channel count or sample format changes in the middle of a file, a new
 * converter is built for the new format; what the old one held back is lost.
 *
 * Open() refuses playlists and other containers that name further files. Pictures have no sound,
 * whatever their neighbours are called.
 *
 * Errors: a failing function returns false; ErrorMessage() and ErrorCode() have the reason. Prints
 * and throws nothing.
 * Thread: Reentrant: one object per thread.
 */
class FFmpegAudioReader
{
public:
    FFmpegAudioReader();
    ~FFmpegAudioReader();
    FFmpegAudioReader(const FFmpegAudioReader&) = delete;
    FFmpegAudioReader& operator=(const FFmpegAudioReader&) = delete;

    /**
     * Requests an output rate in Hz; 0, the default, is the source's own.
     * Requires: not yet open.
     */
    void SetOutputSampleRate(int sampleRateHz);

    /**
     * Requests an output channel count; 0, the default, is the source's own.
     * Requires: not yet open; a count to be read with ReadBlock() is at most the source's, since
     * the conversion buffer is sized by the source's count.
     */
    void SetOutputChannels(int channels);

    /**
     * Makes Open() and ReadBlock() fail soon after a stop is requested: between two packets, and
     * wherever FFmpeg calls its interrupt callback. A read that blocks in the system goes on.
     * Requires: not yet open.
     */
    void SetStopToken(std::stop_token stop);

    /**
     * Closes what was open, opens \a fileName (bytes as the file system has them; UTF-8 on
     * Windows) and starts the decoder of its best audio stream. Returns true when there is a stream
     * to decode.
     *
     * Where no converter is needed, that of an earlier file is kept. It still converts sound of its
     * own source format, if its output has the channels that are requested now. Other sound is
     * returned as decoded: converting it would read past its end.
     */
    bool Open(const std::string& fileName);

    /** Releases the stream. Keeps the last error, the output format and the converter. */
    void Close();

    /**
     * Produces the next block: \a samples points to \a frameCount sample frames of
     * OutputChannels() interleaved samples, valid until the next call. A block of 0 frames is a
     * valid result. Returns false on an error, or when nothing was ever opened.
     * Requires: not closed since the last successful Open().
     */
    bool ReadBlock(const std::int16_t** samples, std::size_t* frameCount);

    /** True once there is nothing more to read. */
    bool AtEnd() const;

    /** The effective output rate in Hz, valid after Open(). */
    int OutputSampleRate() const;

    /** The effective output channel count, valid after Open(). */
    int OutputChannels() const;

    /**
     * The length of the chosen stream in milliseconds, else that of the container; -1 when neither
     * is known or nothing is open. The headers of the file claim it; its content may differ.
     */
    int DurationMs() const;

    /**
     * The facts of the chosen stream, as far as it has been read since Open().
     * Requires: Open() returned true; not closed since.
     */
    StreamFacts Facts() const;

    /** The last error's text, with FFmpeg's reason in parentheses where it has one. */
    const std::string& ErrorMessage() const;

    /** The FFmpeg error code that went with the last error; 0 when none did. */
    int ErrorCode() const;

    /**
     * Whether reading the open file failed somewhere because of the disk or the network. Many
     * formats take that for the end of the file and go on.
     */
    bool HadReadError() const;

private:
    bool openFile(const std::string& fileName);
    int openContainer(const AVInputFormat* format, const std::string& url);
    int findStreams(const AVInputFormat* format, const std::string& url);
    bool openDecoder();
    bool prepareConverter();
    bool sendPacket();
    bool fetchPacket();
    bool deliverFrame(int receiveResult, const std::int16_t** samples, std::size_t* frameCount);
    bool convert(const std::uint8_t** planes, int planeSamples, int receiveResult,
                 const std::int16_t** samples, std::size_t* frameCount);
    bool followFormatChange();
    bool reserveConversionBuffer(int frameSamples, int frameChannels);
    AudioFormat outputFormat() const;
    bool fail(const char* text, int code);

    /** Null until a file needs it. Outlives the file, see Open(). */
    std::unique_ptr<SampleConverter> resampler;
    /** The converter's output: one plane, since the samples are interleaved. */
    std::uint8_t* conversionBuffer = nullptr;
    /** In samples per channel. */
    int conversionBufferCapacity = 0;
    /** Null: the container format is probed. */
    const AVInputFormat* inputFormat = nullptr;
    AVDictionary* inputOptions = nullptr;
    /** The bytes that formatContext reads. */
    std::unique_ptr<MediaFile> file;
    AVFormatContext* formatContext = nullptr;
    AVCodecContext* codecContext = nullptr;
    /** The chosen audio stream in the container; -1 when none. */
    int streamIndex = -1;
    std::string errorMessage;
    int errorCode = 0;
    bool opened = false;
    /** False once the demuxer has reported the end of the file. */
    bool morePackets = true;
    /** False once the decoder has nothing more to give. */
    bool moreFrames = true;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    /** As requested; Open() replaces 0 by the source's own value. */
    int outputSampleRate = 0;
    int outputChannels = 0;
    std::uint64_t packetCounter = 0;
    int decodeErrorCount = 0;

    /** FFmpeg's interrupt callback has a pointer to it: never moved. */
    std::stop_token stopToken;
    /** Channels that the conversion buffer was allocated for. */
    int conversionBufferChannels = 0;
    /** The decoder has delivered another format than Open() prepared for. */
    bool formatChanged = false;
    /** Whether the decoded audio goes through the resampler. */
    bool converting = false;
    /** Since Open(). */
    ReadAmount amountRead;
};

} // namespace chromaprint
