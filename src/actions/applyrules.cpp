#include "actions/applyrules.h"

namespace actions {

namespace {

bool isShort(const ResultFile& file)
{
    return file.durationMs < qint64{1000} * kShortSeconds;
}

} // namespace

QString reasonToLeave(const ApplyRules& rules, const ResultFile& duplicate,
                      const ResultFile& reference, int similarity)
{
    if (similarity < rules.minSimilarity) {
        return QStringLiteral("only %1 % like %2").arg(similarity).arg(reference.path);
    }
    if (!rules.evenShort && (isShort(duplicate) || isShort(reference))) {
        return duplicate.durationMs < 0 || reference.durationMs < 0
                   ? QStringLiteral("of unknown length, so perhaps alike by chance (--even-short)")
                   : QStringLiteral("shorter than %1 s, so perhaps alike by chance (--even-short)")
                         .arg(kShortSeconds);
    }
    if (!rules.evenFeatureless && (duplicate.isFeatureless || reference.isFeatureless)) {
        return QStringLiteral("nothing to hear in it, so alike by chance (--even-featureless)");
    }
    if (!rules.evenPartial && reference.isPartial) {
        return QStringLiteral("its reference could not be read whole: %1 (--even-partial)")
            .arg(reference.path);
    }
    return {};
}

} // namespace actions
