#pragma once

#include <cstdint>

struct AVFormatContext;

namespace chromaprint {

/**
 * The length in milliseconds that the header of the opened file states for \a stream, where FFmpeg
 * has dropped it because the file is shorter than its header states: WAV files of samples of a fixed
 * size, and ASF (WMA) files. -1 for all others, and where there is no such length. Reads the start of
 * the file and returns to where it was.
 * Requires: the file can seek. Thread: Reentrant: one object per thread.
 */
std::int64_t lengthInHeaderMs(const AVFormatContext& context, int stream);

} // namespace chromaprint
