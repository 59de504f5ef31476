#include "cli/foundfiles.h"

#include <QMap>

#include <algorithm>
#include <utility>

namespace cli {

namespace {

using fingerprint::Listing;
using fingerprint::SkippedEntry;

/** A folder that is given twice, or below another one, is listed twice. */
QList<SkippedEntry> sortedWithoutRepeats(QList<SkippedEntry> entries)
{
    const auto isBefore = [](const SkippedEntry& left, const SkippedEntry& right) {
        return left.path < right.path;
    };
    const auto isSame = [](const SkippedEntry& left, const SkippedEntry& right) {
        return left.path == right.path;
    };
    std::stable_sort(entries.begin(), entries.end(), isBefore);
    entries.erase(std::unique(entries.begin(), entries.end(), isSame), entries.end());
    return entries;
}

QList<UnsearchedEnding> countedByEnding(QStringList paths)
{
    paths.removeDuplicates();
    QMap<QString, qsizetype> counts;
    for (const QString& path : std::as_const(paths)) {
        ++counts[path.mid(path.lastIndexOf(QLatin1Char('.')) + 1).toLower()];
    }
    QList<UnsearchedEnding> endings;
    for (auto entry = counts.cbegin(); entry != counts.cend(); ++entry) {
        endings.append({entry.key(), entry.value()});
    }
    std::stable_sort(endings.begin(), endings.end(),
                     [](const UnsearchedEnding& left, const UnsearchedEnding& right) {
                         return left.count > right.count;
                     });
    return endings;
}

} // namespace

FoundFiles findFiles(const QStringList& folders, const QStringList& against,
                     const fingerprint::ListingOptions& options, const std::stop_token& stop)
{
    const Listing first = fingerprint::listAudioFiles(folders, options, stop);
    return filesFoundIn(first, fingerprint::listAudioFiles(against, options, stop));
}

FoundFiles filesFoundIn(const Listing& first, const Listing& second)
{
    return {fingerprint::listsToFingerprint(first.files, second.files),
            sortedWithoutRepeats(first.skipped + second.skipped),
            countedByEnding(first.noted + second.noted)};
}

} // namespace cli
