#pragma once

#include <cstdint>
#include <limits>
#include <vector>

struct AVIOContext;

namespace chromaprint {

/**
 * The parts of a file that are hidden from FFmpeg. None of them has sound, so the fingerprint is
 * that of the whole file.
 */
struct OversizedParts
{
    /** A byte that is read as another one, so that FFmpeg skips the part that it announces. */
    struct Replacement
    {
        std::int64_t position;
        std::uint8_t value;

        friend bool operator==(const Replacement&, const Replacement&) = default;
    };

    /** Where the file ends. */
    std::int64_t end = std::numeric_limits<std::int64_t>::max();
    /** In order of their positions. */
    std::vector<Replacement> replacements;

    /**
     * Applies the replacements to \a count bytes that were read at \a position.
     * Thread: Any thread.
     */
    void apply(std::uint8_t* bytes, std::int64_t position, std::int64_t count) const;
};

/**
 * Searches the start of \a file for parts that take hundreds of megabytes or minutes:
 *
 * - ID3v2 tags at the start of the file, and pictures and comments of FLAC files: all behind the
 *   first 64 MiB of them. FFmpeg keeps them in memory as long as the file is open.
 * - The zero bytes behind the sound of a WAV file, if there are at least 64 MiB and nothing else
 *   follows. FFmpeg takes every eight of them for an empty chunk. Usually the recording is larger
 *   than 4 GiB, and its size did not fit into the header.
 *
 * Skips files below 64 MiB, and the rest of a file where reading fails. Leaves \a file at any
 * position.
 * Thread: Reentrant: one object per thread.
 */
OversizedParts findOversizedParts(AVIOContext* file);

} // namespace chromaprint
