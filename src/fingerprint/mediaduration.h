#pragma once

#include <cstdint>

struct AVFormatContext;

namespace chromaprint {

/**
 * The length of \a stream of the opened \a context in milliseconds, else that of the container; -1
 * when neither is known. The headers of the file claim it; its content may differ.
 * Thread: Reentrant: one object per thread.
 */
int durationMsOf(const AVFormatContext& context, int stream);

/**
 * A duration of \a duration units of \a timeBaseNumerator / \a timeBaseDenominator seconds, in
 * milliseconds: (numerator * 1000, in 32 bits) * duration / denominator, truncated toward zero and
 * narrowed to int. Overflow wraps around: the numbers come from the file. A denominator of 0
 * gives -1.
 * Thread: Any thread.
 */
int durationInMilliseconds(int timeBaseNumerator, int timeBaseDenominator, std::int64_t duration);

} // namespace chromaprint
