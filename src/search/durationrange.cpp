#include "search/durationrange.h"

namespace search {

DurationRange::Fit DurationRange::fitOf(const FingerprintRecord& record) const
{
    constexpr qint64 kMsPerSecond = 1000;
    const auto& [path, words, durationMs, sampleRateHz, channels] = record;
    if (words.isEmpty() || durationMs < 0) {
        return Inside;
    }
    if (least && durationMs < kMsPerSecond * *least) {
        return TooShort;
    }
    return most && durationMs > kMsPerSecond * *most ? TooLong : Inside;
}

} // namespace search
