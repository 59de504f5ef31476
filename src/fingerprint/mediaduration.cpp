#include "fingerprint/mediaduration.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

namespace chromaprint {

int durationMsOf(const AVFormatContext& context, int stream)
{
    const AVStream& chosen = *context.streams[stream];
    if (chosen.duration != AV_NOPTS_VALUE) {
        return durationInMilliseconds(chosen.time_base.num, chosen.time_base.den, chosen.duration);
    }
    if (context.duration != AV_NOPTS_VALUE) {
        constexpr std::int64_t kContainerUnitsPerMs = AV_TIME_BASE / 1000;
        return static_cast<int>(context.duration / kContainerUnitsPerMs);
    }
    return -1;
}

int durationInMilliseconds(int timeBaseNumerator, int timeBaseDenominator, std::int64_t duration)
{
    if (timeBaseDenominator == 0) {
        return -1;
    }
    // Unsigned arithmetic wraps around where signed arithmetic would be undefined.
    const auto scale =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(timeBaseNumerator) * 1000U);
    const std::uint64_t product =
        static_cast<std::uint64_t>(std::int64_t{scale}) * static_cast<std::uint64_t>(duration);
    if (timeBaseDenominator == -1) {
        return static_cast<int>(0 - product);
    }
    return static_cast<int>(static_cast<std::int64_t>(product) / timeBaseDenominator);
}

} // namespace chromaprint
