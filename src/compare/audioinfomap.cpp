#include "compare/audioinfomap.h"

namespace compare {

namespace {

void enter(AudioInfoMap& map, const QList<FingerprintRecord>& records)
{
    for (const auto& [path, words, durationMs, sampleRateHz, channels] : records) {
        map[path] = {durationMs, sampleRateHz, channels};
    }
}

} // namespace

AudioInfoMap buildAudioInfoMap(const QList<FingerprintRecord>& first,
                               const QList<FingerprintRecord>& second)
{
    AudioInfoMap map;
    enter(map, first);
    enter(map, second);
    return map;
}

} // namespace compare
