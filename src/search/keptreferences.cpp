#include "search/keptreferences.h"

#include <QHash>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace search {

namespace {

/** Paths that are linked by pairs, each known by a number. */
class Links
{
public:
    int numberOf(const QString& path)
    {
        const auto known = m_numbers.constFind(path);
        if (known != m_numbers.cend()) {
            return *known;
        }
        const auto number = static_cast<int>(m_parents.size());
        m_parents.push_back(number);
        m_numbers.insert(path, number);
        return number;
    }

    void link(int first, int second)
    {
        m_parents[static_cast<std::size_t>(rootOf(first))] = rootOf(second);
    }

    /** The same for all numbers that are linked. */
    int rootOf(int number)
    {
        for (;;) {
            int& parent = m_parents[static_cast<std::size_t>(number)];
            if (parent == number) {
                return number;
            }
            // Shortens the way of the next search.
            parent = m_parents[static_cast<std::size_t>(parent)];
            number = parent;
        }
    }

    QStringList paths() const
    {
        QStringList paths = m_numbers.keys();
        paths.sort();
        return paths;
    }

private:
    QHash<QString, int> m_numbers;
    std::vector<int> m_parents;
};

DuplicateMap underTheBest(DuplicateMap found, const QStringList& bestFirst)
{
    QHash<QString, qsizetype> places;
    for (const QString& path : bestFirst) {
        places.insert(path, places.size());
    }
    DuplicateMap duplicates;
    while (!found.isEmpty()) {
        const QString first = found.firstKey();
        const auto matches = found.take(first);
        for (const auto& [second, similarity] : matches) {
            const bool isSecondBetter = places.value(second) < places.value(first);
            duplicates[isSecondBetter ? second : first].append(
                {isSecondBetter ? first : second, similarity});
        }
    }
    for (auto& matches : duplicates) {
        std::sort(matches.begin(), matches.end());
    }
    return duplicates;
}

} // namespace

KeptReferences keepBest(DuplicateMap found, const QList<KeepRule>& rules, Candidates candidates,
                        const std::function<KeepCandidate(const QString&)>& fileOf)
{
    Links links;
    for (auto entry = found.cbegin(); entry != found.cend(); ++entry) {
        const int first = links.numberOf(entry.key());
        for (const auto& [second, similarity] : entry.value()) {
            links.link(links.numberOf(second), first);
        }
    }
    const QStringList paths = candidates == Candidates::All ? links.paths() : found.keys();
    std::map<int, QList<KeepCandidate>> linked;
    for (const QString& path : paths) {
        linked[links.rootOf(links.numberOf(path))].append(fileOf(path));
    }
    KeptReferences kept;
    for (const auto& [root, files] : linked) {
        kept.bestFirst += bestFirst(files, rules);
    }
    if (candidates == Candidates::All) {
        kept.duplicates = underTheBest(std::move(found), kept.bestFirst);
    } else {
        kept.duplicates = std::move(found);
    }
    return kept;
}

} // namespace search
