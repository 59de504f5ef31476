#pragma once

struct AVCodec;
struct AVCodecContext;

namespace chromaprint {

/**
 * A context for \a decoder that asks for 16-bit samples; null when it cannot be allocated.
 * The caller releases it with releaseDecoderContext().
 * Thread: Any thread.
 */
AVCodecContext* newDecoderContext(const AVCodec* decoder);

/**
 * Releases what \a context holds. Up to FFmpeg 7 the context object itself, less than a kilobyte,
 * is left behind; from FFmpeg 8 on it is freed. Requires: not null; not used again.
 * Thread: Any thread.
 */
void releaseDecoderContext(AVCodecContext* context);

} // namespace chromaprint
