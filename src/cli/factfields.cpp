#include "cli/factfields.h"

namespace cli {

namespace {

QString partialReason(const fingerprint::FileFacts& facts)
{
    return facts.completeness == fingerprint::Completeness::Unknown
               ? QStringLiteral("not known: read by an older version")
               : facts.breakReason;
}

} // namespace

QList<FactField> factFields(const fingerprint::FileFacts& facts)
{
    return {{QStringLiteral("container"), facts.container},
            {QStringLiteral("codec"), facts.codec},
            {QStringLiteral("bitRate"), facts.bitRate},
            {QStringLiteral("lossless"), facts.isLossless},
            {QStringLiteral("bitsPerSample"), facts.bitsPerSample},
            {QStringLiteral("sizeBytes"), facts.sizeBytes},
            {QStringLiteral("modifiedMs"), facts.modifiedMs},
            {QStringLiteral("partial"), facts.countsAsPartial()},
            {QStringLiteral("partialReason"), partialReason(facts)},
            {QStringLiteral("statedMs"), facts.statedMs},
            {QStringLiteral("decodedMs"), facts.decodedMs},
            {QStringLiteral("featureless"), facts.isFeatureless}};
}

} // namespace cli
