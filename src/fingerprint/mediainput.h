#pragma once

#include <string>
#include <string_view>

struct AVFormatContext;
struct AVInputFormat;
struct AVIOContext;

/**
 * Which files may be opened as media, and how much memory FFmpeg may take for them. Files come from
 * anywhere: name and suffix do not show what is in them.
 */
namespace chromaprint {

/** A file that was inspected and not yet opened. */
struct MediaInput
{
    /** 0, or a negative FFmpeg error code: why the file is refused. */
    int refusal = 0;
    /** For FFmpeg, which takes "name:" at the start of a bare file name for a protocol. */
    std::string url;
};

/**
 * Inspects \a fileName without opening it. Accepts regular files, symbolic links to them, and
 * "pipe:0", the standard input: opening a FIFO or a device can wait for ever.
 * Thread: Any thread, blocking.
 */
MediaInput inspectInput(const std::string& fileName);

/**
 * Whether one of the comma-separated \a names is that of a format that opens further files.
 * Thread: Any thread.
 */
bool namesOtherFiles(std::string_view names);

/**
 * Whether a container of \a format may be opened: one of any format that FFmpeg has but those that
 * open further files, and devices.
 * Thread: Any thread.
 */
bool isPermitted(const AVInputFormat& format);

/**
 * The comma-separated names of the container formats that may be opened.
 * Thread: Any thread.
 */
const std::string& permittedFormats();

/**
 * Limits how much memory FFmpeg takes in one piece. The first call sets the limit, for the whole
 * process.
 * Thread: Any thread.
 */
void limitAllocations();

/**
 * Finds the container format of \a file, which is at its start and stays there: the one that
 * avformat_open_input() would find by \a url and content, permitted or not. Returns 0 or a negative
 * FFmpeg error code.
 * Thread: Reentrant: one object per thread.
 */
int findFormat(AVIOContext* file, const std::string& url, unsigned int probeSize,
               const AVInputFormat** format);

/**
 * True for the format of numbered pictures, which FFmpeg chooses by the name of a picture. It has
 * no sound, and opening it opens the neighbours of the file.
 * Thread: Any thread.
 */
bool isPictureSeries(const AVInputFormat& format);

/**
 * avformat_find_stream_info() for an opened container, without decoding pictures and films of more
 * than kLargestPicturePixels that the container knew of when it was opened: they take more memory
 * than a whole album. Returns what that function returns.
 * Thread: Reentrant: one object per thread.
 */
int findStreamInfo(AVFormatContext* context);

/**
 * The same for a container whose streams appear only while packets are read, where no limit
 * reaches them: decodes nothing but sound. Probing then takes longer, and the counts and bit rates
 * by which the best stream is chosen can differ. So only for files whose pictures are not small,
 * see picturesAreSmall(): transport streams and the like with a film of more than
 * kLargestPicturePixels, with H.264 or HEVC of 3840 by 2160 pixels in 10 bits, or with a film whose
 * first packets do not have its size; and for the standard input, which cannot be read twice.
 * Thread: Reentrant: one object per thread.
 */
int findStreamInfoOfSoundOnly(AVFormatContext* context);

} // namespace chromaprint
