#pragma once

#include <cstdint>

struct AVCodecParameters;
struct AVFormatContext;

namespace chromaprint {

/**
 * The most pixels that are decoded to learn about a stream. Decoders were seen to take up to
 * 9 bytes a pixel, a hundred megapixels thus 900 MB, in pieces below the limit on one allocation.
 */
constexpr std::int64_t kLargestPicturePixels = std::int64_t{16} << 20;

/**
 * The most bytes that the pictures of films may take that decoders hold at once. A film of 3840 by
 * 2160 pixels in 8 bits takes 224 million if it is one of those that refer to 16 pictures.
 */
constexpr std::int64_t kMostHeldBytes = std::int64_t{230} << 20;

/**
 * True for a picture or film that may take as much memory as it likes to. The usual cover pictures
 * are of no concern: of these two, only the header is read.
 */
bool needsPictureLimit(const AVCodecParameters& parameters);

/**
 * Reads as many packets as avformat_find_stream_info() would at most, and returns whether all films
 * and pictures among them are known to have no more than kLargestPicturePixels pixels together, and
 * to take no more than kMostHeldBytes. Their sizes are taken from their headers; only where these
 * do not tell, one picture is decoded. What has been read is gone for \a context.
 * Thread: reentrant, one context per thread.
 */
bool picturesAreSmall(AVFormatContext* context);

} // namespace chromaprint
