#include "cli/searchcommand.h"

#include "cli/commandline.h"
#include "cli/exitstatus.h"
#include "cli/filecollector.h"
#include "cli/foundfiles.h"
#include "cli/interruption.h"
#include "cli/keepcandidates.h"
#include "cli/keeprules.h"
#include "cli/message.h"
#include "cli/outputfile.h"
#include "cli/partsearch.h"
#include "cli/progressline.h"
#include "cli/report.h"
#include "compare/similarity.h"
#include "fingerprint/audiofilediscovery.h"
#include "results/duplicatefilter.h"
#include "search/duplicatesearch.h"
#include "search/fingerprintcollection.h"
#include "search/fingerprintstore.h"
#include "search/forgetting.h"
#include "search/keptreferences.h"
#include "search/trustedstore.h"
#include "settings/settingsstore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

namespace cli {

namespace {

/** So many files make 200 million pairs. If each pair is a duplicate, they take 8 GB. */
constexpr qsizetype kMostFilesIfAllMatch = 20000;

/** Why there is no result. */
struct SearchFailure
{
    QString reason;
};

int chosenThreshold(const Options& options)
{
    if (options.threshold) {
        return *options.threshold;
    }
    return settings::hasSimilarityThreshold() ? settings::similarityThreshold()
                                              : settings::kDefaultSimilarityThreshold;
}

/** A warning about a stored threshold with which a search has no useful result, or nothing. */
QString thresholdWarning(const Options& options)
{
    const int threshold = chosenThreshold(options);
    const bool isTooLow = threshold < 1;
    if (options.threshold || (!isTooLow && threshold <= compare::kLargestSimilarity)) {
        return {};
    }
    return QStringLiteral("Warning: the threshold in the settings of the window program is %1, "
                          "%2. Choose another with --threshold.")
        .arg(threshold)
        .arg(isTooLow ? QStringLiteral("which makes every pair of files a duplicate")
                      : QStringLiteral("which no pair of files reaches"));
}

/**
 * Whether two names lead to one path, symbolic links followed. Neither file need exist.
 *
 * Compares paths, not files: the result replaces a name, so another hard link of the store is safe.
 */
bool isSamePath(const QString& first, const QString& second)
{
    const auto resolved = [](const QString& name) {
        const QFileInfo info(name);
        return info.exists()
                   ? info.canonicalFilePath()
                   : info.absoluteDir().canonicalPath() + QLatin1Char('/') + info.fileName();
    };
    return resolved(first) == resolved(second);
}

/** One search, from the folders to the written result. */
class Search
{
public:
    explicit Search(const Options& options)
        : m_options(options)
        , m_stop(m_interruption.token())
        , m_progress(!options.quiet)
        , m_collector(options, m_progress, m_stop)
    {
        m_report.betweenGroups = !options.against.isEmpty();
        m_report.threshold = chosenThreshold(options);
        m_report.keep = keepRuleTexts(options.keep);
        m_report.durations = options.durations;
        if (options.parts) {
            m_report.parts = PartList{options.leastPartLength, {}};
        }
    }

    int run()
    {
        int status = Done;
        try {
            findAndWriteDuplicates();
            status = m_storeFailed || m_collector.hasStoreFailed() ? Failed
                     : m_collector.isFolderMissing()               ? FolderMissing
                                                                   : Done;
        } catch (const SearchFailure& failure) {
            status = failed(failure.reason);
        } catch (const search::StoreError& error) {
            status = failed(error.message());
        }
        // A stop after the result is written changes nothing.
        if (!m_stop.stop_requested() || m_written) {
            return status;
        }
        m_progress.clear();
        if (!m_options.trustStore) {
            m_collector.printKept();
        }
        return m_interruption.exitStatus();
    }

private:
    int failed(const QString& reason)
    {
        m_progress.clear();
        if (!m_stop.stop_requested()) {
            printMessage(reason);
        }
        return Failed;
    }

    void findAndWriteDuplicates()
    {
        const QString warning = thresholdWarning(m_options);
        if (!warning.isEmpty()) {
            printMessage(warning);
        }
        requireUsableOutput();
        const std::unique_ptr<search::FingerprintStore> store = openStore();
        std::unique_ptr<search::TrustedStore> trusted = openTrustedStore();
        const fingerprint::FileLists files = listFiles(trusted.get());
        if (m_options.forget && !m_stop.stop_requested()) {
            forgetGone(*store, files);
        }
        if (!m_stop.stop_requested() && hasPairs(files)) {
            compareFiles(
                files, trusted ? load(std::move(trusted), files)
                               : m_collector.fingerprint(files.first + files.second, store.get()));
        }
        m_progress.clear();
        if (m_stop.stop_requested()) {
            return;
        }
        const QString problem =
            writeOutput(m_options.outputFile, m_report, m_options.format, m_stop);
        if (!problem.isEmpty()) {
            throw SearchFailure{problem};
        }
        m_written = true;
    }

    void requireUsableOutput() const
    {
        const QString problem = outputProblem(m_options.outputFile);
        if (!problem.isEmpty()) {
            throw SearchFailure{problem};
        }
        if (!m_options.storeFile.isEmpty() && !m_options.outputFile.isEmpty() &&
            isSamePath(m_options.storeFile, m_options.outputFile)) {
            throw SearchFailure{QStringLiteral("The result and the store are the same file.")};
        }
    }

    std::unique_ptr<search::FingerprintStore> openStore() const
    {
        return m_options.storeFile.isEmpty() || m_options.trustStore
                   ? nullptr
                   : std::make_unique<search::FingerprintStore>(m_options.storeFile);
    }

    std::unique_ptr<search::TrustedStore> openTrustedStore() const
    {
        return m_options.trustStore ? std::make_unique<search::TrustedStore>(m_options.storeFile)
                                    : nullptr;
    }

    FoundFiles find(const search::TrustedStore* trusted)
    {
        const auto usable = [&](const QStringList& names) {
            return trusted ? m_collector.storedFolders(*trusted, names)
                           : m_collector.usableFolders(names);
        };
        m_report.folders = usable(m_options.folders);
        m_report.against = usable(m_options.against);
        return trusted ? m_collector.find(*trusted, m_report.folders, m_report.against)
                       : m_collector.find(m_report.folders, m_report.against);
    }

    fingerprint::FileLists listFiles(const search::TrustedStore* trusted)
    {
        const FoundFiles found = find(trusted);
        const fingerprint::FileLists& files = found.lists;
        m_report.fileCount = files.first.size() + files.second.size();
        m_report.skipped = found.skipped;
        m_report.notSearched = found.notSearched;
        if (m_report.threshold <= 0 && m_report.fileCount > kMostFilesIfAllMatch) {
            throw SearchFailure{
                QStringLiteral("A threshold of %1 makes every pair of the %2 files a duplicate, "
                               "which works for up to %3 files. Choose a threshold of 1 or more.")
                    .arg(m_report.threshold)
                    .arg(m_report.fileCount)
                    .arg(kMostFilesIfAllMatch)};
        }
        return files;
    }

    void forgetGone(search::FingerprintStore& store, const fingerprint::FileLists& files)
    {
        QStringList unlistedFolders;
        for (const fingerprint::SkippedEntry& entry : std::as_const(m_report.skipped)) {
            if (entry.isUnlistedFolder) {
                unlistedFolders.append(entry.path);
            }
        }
        m_progress.clear();
        try {
            const qsizetype count =
                search::forgetGone(store, {m_report.folders + m_report.against,
                                           files.first + files.second, unlistedFolders});
            if (count > 0 && !m_options.quiet) {
                printMessage(
                    QStringLiteral("%1 %2 gone and taken out of %3")
                        .arg(count)
                        .arg(count == 1 ? QStringLiteral("file is") : QStringLiteral("files are"),
                             m_options.storeFile));
            }
        } catch (const search::StoreError& error) {
            printMessage(error.message());
            m_storeFailed = true;
        }
    }

    /** As in the window, no file is read if it has nothing to be compared with. */
    bool hasPairs(const fingerprint::FileLists& files) const
    {
        return !files.first.isEmpty() && (!m_report.betweenGroups || !files.second.isEmpty());
    }

    /** What \a store has of \a files; closes it, so that others can write to it meanwhile. */
    search::Collection load(std::unique_ptr<search::TrustedStore> store,
                            const fingerprint::FileLists& files)
    {
        return m_collector.load(*store, m_report.folders + m_report.against,
                                files.first + files.second, m_options.durations);
    }

    void compareFiles(const fingerprint::FileLists& files, const search::Collection& collection)
    {
        if (m_stop.stop_requested()) {
            return;
        }
        m_report.failures = collection.failures;
        const auto first = ofChosenLength(collection.records.mid(0, files.first.size()));
        const auto second = ofChosenLength(collection.records.mid(files.first.size()));
        m_report.audioInfo = compare::buildAudioInfoMap(first, second);
        addFacts(collection);

        m_progress.show(QStringLiteral("Comparing: 0 of %1 files").arg(m_report.fileCount));
        const search::ComparisonOptions options{m_report.threshold, m_options.threadCount,
                                                comparisonProgress(), m_stop};
        DuplicateMap found = m_report.betweenGroups
                                 ? search::compareBetween(first, second, options).duplicates
                                 : search::compareWithin(first, options).duplicates;
        m_report.duplicates =
            m_options.keep.isEmpty() ? listed(found) : listedBestFirst(std::move(found));
        if (m_options.parts && !m_stop.stop_requested()) {
            m_report.parts =
                findParts(first, second, m_options, m_report.threshold, m_progress, m_stop);
        }
    }

    DuplicateMap listed(const DuplicateMap& found) const
    {
        return m_options.allPairs ? found : results::filterForDisplay(found);
    }

    /** As listed(), but the file to keep is above the others. */
    DuplicateMap listedBestFirst(DuplicateMap found) const
    {
        KeepCandidates files(m_report.audioInfo, m_report.facts);
        const search::KeptReferences kept = search::keepBest(
            std::move(found), m_options.keep,
            m_report.betweenGroups ? search::Candidates::FirstGroup : search::Candidates::All,
            [&files](const QString& path) { return files.fileAt(path); });
        return m_options.allPairs ? kept.duplicates
                                  : results::filterForDisplay(kept.duplicates, kept.bestFirst);
    }

    /** Reports the facts of the files that have a fingerprint and were not left out. */
    void addFacts(const search::Collection& collection)
    {
        for (qsizetype i = 0; i < collection.records.size(); ++i) {
            const auto& [path, words, durationMs, sampleRateHz, channels] =
                collection.records.at(i);
            if (!words.isEmpty() && m_report.audioInfo.contains(path)) {
                m_report.facts.insert(path, collection.facts.at(i));
            }
        }
    }

    /** Drops the records that are too short or too long. Keeps those without a known length. */
    QList<FingerprintRecord> ofChosenLength(QList<FingerprintRecord> records)
    {
        records.removeIf([this](const FingerprintRecord& record) {
            const auto fit = m_options.durations.fitOf(record);
            m_report.tooShortCount += fit == search::DurationRange::TooShort ? 1 : 0;
            m_report.tooLongCount += fit == search::DurationRange::TooLong ? 1 : 0;
            return fit != search::DurationRange::Inside;
        });
        return records;
    }

    std::function<void(qsizetype, qsizetype)> comparisonProgress()
    {
        QElapsedTimer timer;
        timer.start();
        return [this, timer](qsizetype done, qsizetype all) {
            if (!m_progress.isDue()) {
                return;
            }
            QString text = QStringLiteral("Comparing: %1 of %2 files").arg(done).arg(all);
            if (done > 0) {
                const double seconds = static_cast<double>(timer.elapsed()) / 1000.0;
                text += QStringLiteral(", %1 left")
                            .arg(timeText(seconds / static_cast<double>(done) *
                                          static_cast<double>(all - done)));
            }
            m_progress.show(text);
        };
    }

    const Options& m_options;
    Interruption m_interruption;
    const std::stop_token m_stop;
    ProgressLine m_progress;
    FileCollector m_collector;
    Report m_report;
    bool m_written = false;
    bool m_storeFailed = false;
};

} // namespace

int runSearch(const Options& options)
{
    return Search(options).run();
}

} // namespace cli
