#pragma once

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
 * A file whose sample rate, channel count or sample format changes in the middle is followed: the
 * converter is built anew for what the decoder now delivers, and what the old one still held back
 * is dropped.
 *
 * Playlists and other containers that name further files are refused by Open(), and pictures have
 * no sound, whatever their neighbours are called.
 *
 * Errors: every failure is told by the return value, ErrorMessage() and ErrorCode(); nothing is
 * printed or thrown.
 * Thread: reentrant, one object per thread.
 */
class FFmpegAudioReader
{
public:
    FFmpegAudioReader();
    ~FFmpegAudioReader();
    FFmpegAudioReader(const FFmpegAudioReader&) = delete;
    FFmpegAudioReader& operator=(const FFmpegAudioReader&) = delete;

    /** Requests an output rate in Hz; 0, the default, is the source's own. Requires: not yet open.
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
     * wherever FFmpeg asks whether to go on. A read that the system blocks in is not interrupted.
     * Requires: not yet open.
     */
    void SetStopToken(std::stop_token stop);

    /**
     * Opens \a fileName (bytes as the file system has them; UTF-8 on Windows) and readies its best
     * audio stream; closes what was open. Returns true when there is a stream to decode.
     *
     * Where no converter is needed, that of an earlier file is kept as it is, and still converts
     * what it was made for: sound of its own source format, if its channels are those asked for
     * now. Other sound is handed out as it is decoded; converting it would read past its end.
     */
    bool Open(const std::string& fileName);

    /** Releases the stream. The last error, the output format and the converter are kept. */
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
     * is known or nothing is open. It is what the file claims, not what it holds.
     */
    int DurationMs() const;

    /** The last error's text, with FFmpeg's reason in parentheses where it has one. */
    const std::string& ErrorMessage() const;

    /** The FFmpeg error code that went with the last error; 0 when none did. */
    int ErrorCode() const;

    /**
     * Whether the file, while it is open, could not be read somewhere because of the disk or the
     * network. Many formats take that for the end of the file and go on.
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

    /** Null as long as no file has needed it. One of an earlier file is kept, see Open(). */
    std::unique_ptr<SampleConverter> resampler;
    /** The converter's output: one plane, since the samples are interleaved. */
    std::uint8_t* conversionBuffer = nullptr;
    /** In samples per channel. */
    int conversionBufferCapacity = 0;
    /** Null: the container format is probed. */
    const AVInputFormat* inputFormat = nullptr;
    AVDictionary* inputOptions = nullptr;
    /** What formatContext reads from. */
    std::unique_ptr<MediaFile> file;
    AVFormatContext* formatContext = nullptr;
    AVCodecContext* codecContext = nullptr;
    /** The audio stream that was chosen in the container; -1 when none. */
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
    /** As requested; Open() puts the source's own value in the place of 0. */
    int outputSampleRate = 0;
    int outputChannels = 0;
    std::uint64_t packetCounter = 0;
    int decodeErrorCount = 0;

    /** Asked by FFmpeg through a pointer, so it stays where it is as long as the reader lives. */
    std::stop_token stopToken;
    /** For how many channels the conversion buffer was allocated. */
    int conversionBufferChannels = 0;
    /** The decoder has delivered something else than Open() prepared for. */
    bool formatChanged = false;
    /** Whether the decoded audio goes through the resampler. */
    bool converting = false;
};

} // namespace chromaprint
