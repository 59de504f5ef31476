#pragma once

#include <cstdint>
#include <limits>
#include <vector>

struct AVIOContext;

namespace chromaprint {

/**
 * What of a file is not shown to FFmpeg. No sound is ever among it, so the fingerprint is that of
 * the whole file.
 */
struct OversizedParts
{
    /** A byte that is read as another one, which makes a reader skip what it announces. */
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

    /** Puts the replacements into \a count bytes that were read at \a position. */
    void apply(std::uint8_t* bytes, std::int64_t position, std::int64_t count) const;
};

/**
 * Looks through the start of \a file for what would take hundreds of megabytes or minutes:
 *
 * - ID3v2 tags at the start of the file, and pictures and comments of FLAC files: from where they
 *   exceed 64 MiB all told, on. FFmpeg holds them all in memory as long as the file is open.
 * - The zero bytes behind the sound of a WAV file, from 64 MiB on, if nothing else follows. FFmpeg
 *   takes every eight of them for an empty chunk; the usual reason is a recording of more than
 *   4 GiB, whose size did not fit into the header.
 *
 * Files below 64 MiB are not looked at. Where reading fails, the rest is not looked at either.
 * Leaves \a file at any position.
 */
OversizedParts findOversizedParts(AVIOContext* file);

} // namespace chromaprint
