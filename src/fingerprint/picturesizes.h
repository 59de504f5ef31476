#pragma once

#include <cstdint>

struct AVCodecParameters;
struct AVFormatContext;

namespace chromaprint {

/**
 * The most pixels that are decoded to probe a stream. Decoders were measured to take up to 9 bytes
 * a pixel: 900 MB for a hundred megapixels, in pieces below the limit on one allocation.
 */
constexpr std::int64_t kLargestPicturePixels = std::int64_t{16} << 20;

/**
 * The most bytes that the pictures may take that the decoders of all films hold at once. A film of
 * 3840 by 2160 pixels in 8 bits that refers to 16 pictures takes 224 million.
 */
constexpr std::int64_t kMostHeldBytes = std::int64_t{230} << 20;

/**
 * True for a picture or film that is decoded to probe it. Of JPEG and PNG, the usual cover
 * pictures, only the header is read.
 * Thread: Any thread.
 */
bool needsPictureLimit(const AVCodecParameters& parameters);

/**
 * Reads as many packets as avformat_find_stream_info() reads at most. Returns true when all films
 * and pictures among them are known to have no more than kLargestPicturePixels pixels in total, and
 * to take no more than kMostHeldBytes. Their headers have the sizes; where they do not, one picture
 * is decoded. The packets read are lost for \a context.
 * Thread: Reentrant: one object per thread.
 */
bool picturesAreSmall(AVFormatContext* context);

} // namespace chromaprint
