#include "search/keeporder.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>
#include <vector>

namespace search {

namespace {

/** How good a file is by one rule. */
struct Standing
{
    /** The rule compares files of one class only. */
    QString comparedClass;
    /** The larger, the better. */
    qint64 value = 0;
};

bool isBelow(const QString& folder, const QString& ancestor)
{
    return folder == ancestor || ancestor == QLatin1String("/") ||
           folder.startsWith(ancestor + QLatin1Char('/'));
}

Standing rateStanding(const QString& comparedClass, qint64 rate,
                      const fingerprint::FileFacts& facts)
{
    // Without a codec it is not known whether files are of one class.
    return facts.codec.isEmpty() ? Standing() : Standing{comparedClass, std::max<qint64>(rate, 0)};
}

Standing standingOf(const KeepCandidate& file, const KeepRule& rule)
{
    const fingerprint::FileFacts& facts = file.facts;
    switch (rule.kind) {
    case KeepRule::Kind::Complete:
        return {{}, facts.countsAsPartial() ? 0 : 1};
    case KeepRule::Kind::Lossless:
        return {{}, facts.isLossless ? 1 : 0};
    case KeepRule::Kind::SampleRate:
        return rateStanding(facts.isLossless ? QStringLiteral("lossless") : QStringLiteral("lossy"),
                            file.sampleRateHz, facts);
    case KeepRule::Kind::BitRate:
        return rateStanding(facts.codec, facts.bitRate, facts);
    case KeepRule::Kind::Size:
        return {{}, facts.sizeBytes};
    case KeepRule::Kind::Oldest:
        // Unlike the negative number this exists for every time.
        return {{}, -1 - facts.modifiedMs};
    case KeepRule::Kind::Under:
        return {{}, isBelow(file.folder, rule.folder) ? 1 : 0};
    }
    return {};
}

/** A file with its standings, one for each rule. */
struct RankedFile
{
    QString path;
    std::vector<Standing> standings;
};

using RankedFiles = std::vector<RankedFile>;

/** The files of a part are all compared with each other by every rule. */
std::vector<RankedFiles> parts(const QList<KeepCandidate>& files, const QList<KeepRule>& rules)
{
    std::map<QStringList, RankedFiles> parts;
    for (const KeepCandidate& file : files) {
        RankedFile ranked{file.path, {}};
        QStringList classes;
        for (const KeepRule& rule : rules) {
            ranked.standings.push_back(standingOf(file, rule));
            classes.append(ranked.standings.back().comparedClass);
        }
        parts[classes].push_back(std::move(ranked));
    }
    std::vector<RankedFiles> result;
    for (auto& [classes, part] : parts) {
        result.push_back(std::move(part));
    }
    return result;
}

void sortBestFirst(RankedFiles& part)
{
    std::sort(part.begin(), part.end(), [](const RankedFile& left, const RankedFile& right) {
        for (std::size_t rule = 0; rule < left.standings.size(); ++rule) {
            if (left.standings[rule].value != right.standings[rule].value) {
                return left.standings[rule].value > right.standings[rule].value;
            }
        }
        return left.path < right.path;
    });
}

/** A part that is taken from its best file on. */
struct Queue
{
    RankedFiles files;
    std::size_t next = 0;

    const RankedFile& head() const
    {
        return files[next];
    }
};

/** The one of \a queues whose head remains when each rule has removed the heads it can. */
std::size_t bestQueue(const std::vector<Queue>& queues, std::size_t ruleCount)
{
    std::vector<std::size_t> remaining(queues.size());
    std::iota(remaining.begin(), remaining.end(), std::size_t{0});
    for (std::size_t rule = 0; rule < ruleCount && remaining.size() > 1; ++rule) {
        const auto isBetter = [&](std::size_t left, std::size_t right) {
            const Standing& first = queues[left].head().standings[rule];
            const Standing& second = queues[right].head().standings[rule];
            return first.value > second.value && first.comparedClass == second.comparedClass;
        };
        const std::vector<std::size_t> rivals = remaining;
        std::erase_if(remaining, [&](std::size_t queue) {
            return std::any_of(rivals.begin(), rivals.end(),
                               [&](std::size_t rival) { return isBetter(rival, queue); });
        });
    }
    return *std::min_element(remaining.begin(), remaining.end(),
                             [&](std::size_t left, std::size_t right) {
                                 return queues[left].head().path < queues[right].head().path;
                             });
}

} // namespace

QStringList bestFirst(const QList<KeepCandidate>& files, const QList<KeepRule>& rules)
{
    std::vector<Queue> queues;
    for (RankedFiles& part : parts(files, rules)) {
        sortBestFirst(part);
        queues.push_back({std::move(part)});
    }
    // Only the heads count: whatever removes the head of a part removes its other files as well.
    QStringList paths;
    while (!queues.empty()) {
        const std::size_t best = bestQueue(queues, static_cast<std::size_t>(rules.size()));
        Queue& queue = queues[best];
        paths.append(queue.head().path);
        if (++queue.next == queue.files.size()) {
            queues.erase(queues.begin() + static_cast<std::ptrdiff_t>(best));
        }
    }
    return paths;
}

} // namespace search
