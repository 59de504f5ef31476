#pragma once

#include "fingerprint/oversizedparts.h"

#include <cstdint>
#include <memory>
#include <string>

struct AVIOContext;
struct AVIOInterruptCB;

namespace chromaprint {

/**
 * The bytes of one file, as FFmpeg is given them. FFmpeg's own context for files lies below and
 * does the reading; three things differ from handing that one out:
 *
 * - The file stays open when a container is closed, so that it can be read from its start again.
 * - Parts that would cost far more than they are worth are hidden, see findOversizedParts().
 * - The size of the file is asked for once after each read, not at each question: FFmpeg's reader
 *   of WAV files asks twice for every eight bytes of a chunk list.
 *
 * A file without positions, the standard input, is handed out as it is.
 *
 * Thread: reentrant, one object per thread.
 */
class MediaFile
{
public:
    MediaFile();
    ~MediaFile();
    MediaFile(const MediaFile&) = delete;
    MediaFile& operator=(const MediaFile&) = delete;

    /**
     * Opens \a url for reading; \a interrupt is asked before each read. Returns 0 or a negative
     * FFmpeg error code. Requires: called once.
     */
    int open(const std::string& url, const AVIOInterruptCB& interrupt);

    /** Where to read from; owned by this object. Requires: open() or rewind() returned 0. */
    AVIOContext* context() const;

    /** The comma-separated protocols that a container of the file may use. Requires: opened. */
    const char* permittedProtocols() const;

    /** False for the standard input. Requires: opened. */
    bool canRewind() const;

    /**
     * Replaces context() by a new one at the start of the file. Returns 0 or a negative FFmpeg
     * error code. Requires: canRewind(); nothing uses the old context any longer.
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
    /** Null for a file without positions. */
    std::unique_ptr<AVIOContext, ViewDeleter> view;
    OversizedParts hidden;
    std::int64_t position = 0;
    /** Negative: not asked for since the last read. */
    std::int64_t knownSize = -1;
};

} // namespace chromaprint
