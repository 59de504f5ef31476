#include "results/duplicatefilter.h"

#include <QSet>

namespace results {

namespace {

/** The paths that are listed already. */
class ListedPaths
{
public:
    /** Lists \a reference with those of \a matches that can be; returns these. */
    QList<std::tuple<QString, int>> list(const QString& reference,
                                         const QList<std::tuple<QString, int>>& matches)
    {
        QList<std::tuple<QString, int>> kept;
        if (m_seen.contains(reference)) {
            return kept;
        }
        for (const auto& match : matches) {
            const QString& path = std::get<0>(match);
            if (path != reference && !m_seen.contains(path)) {
                kept.append(match);
            }
        }
        if (kept.isEmpty()) {
            return kept;
        }
        m_seen.insert(reference);
        for (const auto& match : kept) {
            m_seen.insert(std::get<0>(match));
        }
        return kept;
    }

private:
    QSet<QString> m_seen;
};

} // namespace

DuplicateMap filterForDisplay(const DuplicateMap& duplicates)
{
    ListedPaths listed;
    DuplicateMap shown;
    for (auto entry = duplicates.cbegin(); entry != duplicates.cend(); ++entry) {
        const auto kept = listed.list(entry.key(), entry.value());
        if (!kept.isEmpty()) {
            // Keys arrive in ascending order, so each belongs at the end.
            shown.insert(shown.cend(), entry.key(), kept);
        }
    }
    return shown;
}

DuplicateMap filterForDisplay(const DuplicateMap& duplicates, const QStringList& references)
{
    ListedPaths listed;
    DuplicateMap shown;
    for (const QString& reference : references) {
        const auto entry = duplicates.constFind(reference);
        if (entry == duplicates.cend()) {
            continue;
        }
        const auto kept = listed.list(reference, *entry);
        if (!kept.isEmpty()) {
            shown.insert(reference, kept);
        }
    }
    return shown;
}

} // namespace results
