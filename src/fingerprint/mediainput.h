#pragma once

#include <string>

struct AVFormatContext;

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
 * avformat_find_stream_info() for an opened container, without the pictures and films in it that
 * would take more memory than a whole album. Returns what that function returns.
 * Thread: reentrant, one context per thread.
 */
int findStreamInfo(AVFormatContext* context);

} // namespace chromaprint
