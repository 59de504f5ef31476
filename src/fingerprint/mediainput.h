#pragma once

#include <string>

struct AVFormatContext;
struct AVInputFormat;
struct AVIOContext;

/**
 * What may be opened as a media file, and how much memory FFmpeg may take for it. Files come from
 * anywhere: a name and a suffix promise nothing about the content.
 */
namespace chromaprint {

/** A file that was looked at before it is opened. */
struct MediaInput
{
    /** 0, or the negative FFmpeg error code that tells why the file is refused. */
    int refusal = 0;
    /** What to hand to FFmpeg, which takes "name:" at the start of a bare name for a protocol. */
    std::string url;
};

/**
 * Looks at \a fileName without opening it. Only regular files (symbolic links to them included)
 * and "pipe:0", the standard input, are let through: opening a FIFO or a device can wait for ever.
 * Thread: any thread, blocking. Reentrant.
 */
MediaInput inspectInput(const std::string& fileName);

/**
 * The comma-separated names of the container formats that may be opened: all that FFmpeg has but
 * those that open further files, and those that are no files at all.
 * Thread: any thread. Reentrant.
 */
const std::string& permittedFormats();

/**
 * Limits how much memory FFmpeg takes in one piece. The limit holds for the whole process; the
 * first call sets it. Thread: any thread. Reentrant.
 */
void limitAllocations();

/**
 * Finds the container format of \a file, which is at its start and stays there: the one that
 * avformat_open_input() would find by \a url and content, permitted or not. Returns 0 or a negative
 * FFmpeg error code. Thread: reentrant, one file per thread.
 */
int findFormat(AVIOContext* file, const std::string& url, unsigned int probeSize,
               const AVInputFormat** format);

/**
 * True for the format of numbered pictures, which is found by the name of a picture. It has no
 * sound, and must not be opened to learn that: it opens the neighbours of the file.
 */
bool isPictureSeries(const AVInputFormat& format);

/**
 * avformat_find_stream_info() for an opened container, without the pictures and films in it that
 * would take more memory than a whole album: those of more than kLargestPicturePixels that the
 * container knew of when it was opened. Nothing else differs. Returns what that function returns.
 * Thread: reentrant, one context per thread.
 */
int findStreamInfo(AVFormatContext* context);

/**
 * The same for a container whose streams come to light only while packets are read, where no limit
 * reaches them: nothing but sound is decoded. The probing then goes on for longer, so that the
 * counts and bit rates by which the best stream is picked can differ. Thus only for files whose
 * pictures are not small, see picturesAreSmall(): transport streams and the like with a film of
 * more than kLargestPicturePixels, or one of H.264 or HEVC in 3840 by 2160 pixels of 10 bits, or
 * one whose size its first packets do not tell; and for the standard input, which cannot be read
 * twice.
 */
int findStreamInfoOfSoundOnly(AVFormatContext* context);

} // namespace chromaprint
