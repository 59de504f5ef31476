#pragma once

#include "fingerprint/oversizedparts.h"

#include <cstdint>
#include <memory>
#include <string>

struct AVIOContext;
struct AVIOInterruptCB;

namespace chromaprint {

/**
 * The bytes of one file, as FFmpeg gets them. FFmpeg's own context for files does the reading;
 * three things differ from using that one directly:
 *
 * - The file stays open when a container is closed, so that it can be read from its start again.
 * - Parts that cost far more than they are worth are hidden, see findOversizedParts().
 * - The size of the file is queried once after each read and remembered: FFmpeg's reader of WAV
 *   files queries it twice for every eight bytes of a chunk list.
 *
 * The standard input, which cannot seek, is read directly.
 *
 * Thread: Reentrant: one object per thread.
 */
class MediaFile
{
public:
    MediaFile();
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    /**
     * Opens \a url for reading; \a interrupt is called before each read. Returns 0 or a negative
     * FFmpeg error code. Requires: called once.
     */
    int open(const std::string& url, const AVIOInterruptCB& interrupt);

    /** The context to read from; owned by this object. Requires: open() or rewind() returned 0. */
    AVIOContext* context() const;

    /** The comma-separated protocols that a container of the file may use. Requires: opened. */
    const char* permittedProtocols() const;

    /** False for the standard input. Requires: opened. */
    bool canRewind() const;

    /**
     * Replaces context() by a new one at the start of the file. Returns 0 or a negative FFmpeg
     * error code. Requires: canRewind(); the old context is no longer used.
     */
    int rewind();

private:
    struct SourceDeleter
    {
        void operator()(AVIOContext* context) const;
    };
    struct ViewDeleter
    {
        void operator()(AVIOContext* context) const;
    };

    static int readView(void* file, std::uint8_t* buffer, int size);
    static std::int64_t seekView(void* file, std::int64_t offset, int whence);
    int read(std::uint8_t* buffer, int size);
    std::int64_t size();

    std::unique_ptr<AVIOContext, SourceDeleter> source;
    /** Null where the file cannot seek. */
    std::unique_ptr<AVIOContext, ViewDeleter> view;
    OversizedParts hidden;
    std::int64_t position = 0;
    /** Negative: not queried since the last read. */
    std::int64_t knownSize = -1;
};

} // namespace chromaprint
