#include "fingerprint/oversizedparts.h"

extern "C" {
#include <libavformat/avio.h>
}

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace chromaprint {

namespace {

constexpr std::int64_t kOversized = std::int64_t{64} << 20; // bytes

/** Reads at \a position; false where the file is too short. */
template <std::size_t Count>
bool readAt(AVIOContext* file, std::int64_t position, std::array<std::uint8_t, Count>& bytes)
{
    return avio_seek(file, position, SEEK_SET) == position &&
           avio_read(file, bytes.data(), static_cast<int>(Count)) == static_cast<int>(Count);
}

template <std::size_t Count>
bool startsWith(const std::array<std::uint8_t, Count>& bytes, const char* text)
{
    return std::memcmp(bytes.data(), text, std::strlen(text)) == 0;
}

// ID3v2: "ID3", version, revision, flags, and the size in four bytes of seven bits each.
using Id3Header = std::array<std::uint8_t, 10>;
constexpr std::size_t kId3Version = 3;
constexpr std::size_t kId3Flags = 5;
constexpr std::size_t kId3Size = 6;
constexpr std::uint8_t kId3Footer = 0x10;
constexpr std::uint8_t kId3UnknownVersion = 5;
constexpr int kId3LastVersionWithFooter = 4;
constexpr std::int64_t kId3LargestSize = (std::int64_t{1} << 28) - 1;

bool isId3(const Id3Header& header)
{
    return startsWith(header, "ID3") && header[kId3Version] != 0xFF && header[4] != 0xFF &&
           std::all_of(header.begin() + kId3Size, header.end(),
                       [](std::uint8_t byte) { return byte < 0x80; });
}

std::int64_t id3Size(const Id3Header& header)
{
    std::int64_t size = 0;
    for (std::size_t i = kId3Size; i < header.size(); ++i) {
        size = size << 7 | header[i];
    }
    return size;
}

/** Changes the version of the tag to one that FFmpeg skips, and makes the footer a part of it. */
void hideId3(std::int64_t position, const Id3Header& header, bool hasFooter, OversizedParts& parts)
{
    const auto replace = [&](std::size_t index, std::int64_t value) {
        parts.replacements.push_back(
            {position + static_cast<std::int64_t>(index), static_cast<std::uint8_t>(value)});
    };
    replace(kId3Version, kId3UnknownVersion);
    if (!hasFooter) {
        return;
    }
    replace(kId3Flags, header[kId3Flags] & ~kId3Footer);
    const std::int64_t size = id3Size(header) + static_cast<std::int64_t>(header.size());
    for (std::size_t i = kId3Size; i < header.size(); ++i) {
        replace(i, size >> (7 * (header.size() - 1 - i)) & 0x7F);
    }
}

/** Returns where the tags end. */
std::int64_t hideId3Tags(AVIOContext* file, OversizedParts& parts)
{
    std::int64_t position = 0;
    std::int64_t total = 0;
    Id3Header header{};
    while (readAt(file, position, header) && isId3(header)) {
        const bool hasFooter = header[kId3Version] == kId3LastVersionWithFooter &&
                               (header[kId3Flags] & kId3Footer) != 0;
        const std::int64_t size = id3Size(header);
        total += size;
        const auto length = static_cast<std::int64_t>(header.size());
        if (total > kOversized && size + length <= kId3LargestSize) {
            hideId3(position, header, hasFooter, parts);
        }
        position += length + size + (hasFooter ? length : 0);
    }
    return position;
}

// FLAC: a block's type, with a bit that marks the last one, and its size in three bytes.
using FlacHeader = std::array<std::uint8_t, 4>;
constexpr int kFlacLast = 0x80;
constexpr int kFlacPadding = 1;
constexpr int kFlacComment = 4;
constexpr int kFlacPicture = 6;
/** Smaller blocks are kept: FFmpeg stops at a thousand streams, and each picture is one. */
constexpr std::int64_t kFlacSmallBlock = std::int64_t{64} << 10;

constexpr std::int64_t kFlacLargestBlock = 0xFFFFFF;
constexpr std::int64_t kFlacLongestType = 63; // of a picture, "image/jpeg" for one; in bytes
/** FFmpeg reads no larger picture beyond its block. */
constexpr std::int64_t kFlacLargestPicture = std::int64_t{500} << 20;

/** A number of four bytes; -1 where the file ends. */
std::int64_t numberAt(AVIOContext* file, std::int64_t position)
{
    std::array<std::uint8_t, 4> bytes{};
    if (!readAt(file, position, bytes)) {
        return -1;
    }
    return std::int64_t{bytes[0]} << 24 | std::int64_t{bytes[1]} << 16 |
           std::int64_t{bytes[2]} << 8 | std::int64_t{bytes[3]};
}

/**
 * Some writers cut the size of a picture of 16 MiB and more to the three bytes of its block. FFmpeg
 * then goes by the picture's own size. Returns by how many bytes such a picture exceeds its block.
 */
std::int64_t bytesBehindBlock(AVIOContext* file, std::int64_t content, std::int64_t blockSize)
{
    const std::int64_t typeLength = numberAt(file, content + 4); // behind the kind of picture
    if (typeLength <= 0 || typeLength > kFlacLongestType) {
        return 0;
    }
    std::int64_t position = content + 8 + typeLength;
    const std::int64_t descriptionLength = numberAt(file, position);
    position += 4 + descriptionLength + 16; // behind width, height, depth and colours
    const std::int64_t left = content + blockSize - (position + 4);
    if (descriptionLength < 0 || left < 0) {
        return 0;
    }
    const std::int64_t pictureSize = numberAt(file, position);
    const bool isCut = pictureSize > left && pictureSize <= kFlacLargestPicture &&
                       (pictureSize & kFlacLargestBlock) == left;
    return isCut ? pictureSize - left : 0;
}

/** Turns the block at \a position, header included, into one or more blocks of padding. */
void hideFlacBlock(std::int64_t position, std::int64_t length, bool isLast, OversizedParts& parts)
{
    constexpr auto kHeader = static_cast<std::int64_t>(sizeof(FlacHeader));
    while (length > 0) {
        std::int64_t size = std::min(length - kHeader, kFlacLargestBlock);
        const std::int64_t rest = length - kHeader - size;
        if (rest > 0 && rest < kHeader) {
            size -= kHeader; // leave room for one more header
        }
        length -= kHeader + size;
        const int type = kFlacPadding | (isLast && length == 0 ? kFlacLast : 0);
        parts.replacements.insert(parts.replacements.end(),
                                  {{position, static_cast<std::uint8_t>(type)},
                                   {position + 1, static_cast<std::uint8_t>(size >> 16)},
                                   {position + 2, static_cast<std::uint8_t>(size >> 8 & 0xFF)},
                                   {position + 3, static_cast<std::uint8_t>(size & 0xFF)}});
        position += kHeader + size;
    }
}

void hideFlacBlocks(AVIOContext* file, std::int64_t position, OversizedParts& parts)
{
    std::int64_t total = 0;
    FlacHeader header{};
    while (readAt(file, position, header)) {
        const int type = header[0] & ~kFlacLast;
        const bool isLast = (header[0] & kFlacLast) != 0;
        const std::int64_t content = position + static_cast<std::int64_t>(header.size());
        std::int64_t size =
            std::int64_t{header[1]} << 16 | std::int64_t{header[2]} << 8 | header[3];
        if (type == kFlacPicture) {
            size += bytesBehindBlock(file, content, size);
        }
        if ((type == kFlacPicture || type == kFlacComment) && size >= kFlacSmallBlock) {
            total += size;
            if (total > kOversized) {
                hideFlacBlock(position, content + size - position, isLast, parts);
            }
        }
        if (isLast) {
            return;
        }
        position = content + size;
    }
}

bool onlyZerosFrom(AVIOContext* file, std::int64_t position)
{
    if (avio_seek(file, position, SEEK_SET) != position) {
        return false;
    }
    std::vector<std::uint8_t> block(std::size_t{1} << 20);
    while (true) {
        const int count = avio_read(file, block.data(), static_cast<int>(block.size()));
        if (count <= 0) {
            return avio_feof(file) != 0 && file->error == 0;
        }
        const auto* bytes = block.data();
        if (bytes[0] != 0 ||
            std::memcmp(bytes, bytes + 1, static_cast<std::size_t>(count) - 1) != 0) {
            return false;
        }
    }
}

// WAV: a list of chunks at even positions, each with a name and a size in four bytes.
using RiffHeader = std::array<std::uint8_t, 8>;
constexpr std::int64_t kRiffFirstChunk = 12;
/** More than any real file has before the sound; a file with more is left as it is. */
constexpr int kRiffMostChunks = 1000;
constexpr std::int64_t kRiffUnknownSize = 0xFFFFFFFF;

std::int64_t riffSize(const RiffHeader& header, bool bigEndian)
{
    std::int64_t size = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        size = size << 8 | header[bigEndian ? 4 + i : 7 - i];
    }
    return size;
}

void hideZerosBehindSound(AVIOContext* file, std::int64_t start, bool bigEndian,
                          std::int64_t fileSize, OversizedParts& parts)
{
    const std::int64_t unaligned = start & 1;
    std::int64_t position = start + kRiffFirstChunk;
    RiffHeader header{};
    for (int chunk = 0; chunk < kRiffMostChunks && readAt(file, position, header); ++chunk) {
        const std::int64_t size = riffSize(header, bigEndian);
        if (startsWith(header, "SMV0")) {
            return; // a film follows, which has no chunk
        }
        const bool isSound = startsWith(header, "data");
        if (isSound && (size == 0 || size == kRiffUnknownSize)) {
            return; // the sound goes on to the end
        }
        position += static_cast<std::int64_t>(header.size()) + size;
        position += (position + unaligned) & 1;
        if (isSound) {
            if (fileSize - position >= kOversized && onlyZerosFrom(file, position)) {
                parts.end = position;
            }
            return;
        }
    }
}

} // namespace

void OversizedParts::apply(std::uint8_t* bytes, std::int64_t position, std::int64_t count) const
{
    const auto before = [](const Replacement& replacement, std::int64_t limit) {
        return replacement.position < limit;
    };
    const auto first = std::lower_bound(replacements.begin(), replacements.end(), position, before);
    const auto last = std::lower_bound(first, replacements.end(), position + count, before);
    std::for_each(first, last, [=](const Replacement& replacement) {
        bytes[replacement.position - position] = replacement.value;
    });
}

OversizedParts findOversizedParts(AVIOContext* file)
{
    OversizedParts parts;
    const std::int64_t size = avio_size(file);
    if (size < kOversized) {
        return parts;
    }
    const std::int64_t start = hideId3Tags(file, parts);
    std::array<std::uint8_t, 4> magic{};
    if (!readAt(file, start, magic)) {
        return parts;
    }
    if (startsWith(magic, "fLaC")) {
        hideFlacBlocks(file, start + static_cast<std::int64_t>(magic.size()), parts);
    } else if (startsWith(magic, "RIFF") || startsWith(magic, "RIFX")) {
        hideZerosBehindSound(file, start, startsWith(magic, "RIFX"), size, parts);
    }
    return parts;
}

} // namespace chromaprint
