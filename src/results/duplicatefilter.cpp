#include "results/duplicatefilter.h"

#include <QSet>

namespace results {

DuplicateMap filterForDisplay(const DuplicateMap& duplicates)
{
    QSet<QString> seen;
    DuplicateMap shown;
    for (auto entry = duplicates.cbegin(); entry != duplicates.cend(); ++entry) {
        const QString& reference = entry.key();
        if (seen.contains(reference)) {
            continue;
        }
        QList<std::tuple<QString, int>> kept;
        for (const auto& match : entry.value()) {
            const QString& path = std::get<0>(match);
            if (path != reference && !seen.contains(path)) {
                kept.append(match);
            }
        }
        if (kept.isEmpty()) {
            continue;
        }
        seen.insert(reference);
        for (const auto& match : kept) {
            seen.insert(std::get<0>(match));
        }
        // Keys arrive in ascending order, so each belongs at the end.
        shown.insert(shown.cend(), reference, kept);
    }
    return shown;
}

} // namespace results
