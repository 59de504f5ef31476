#include "cli/searchcommand.h"

#include "cli/commandline.h"
#include "cli/exclusion.h"
#include "cli/exitstatus.h"
#include "cli/foundfiles.h"
#include "cli/interruption.h"
#include "cli/keepcandidates.h"
#include "cli/keeprules.h"
#include "cli/message.h"
#include "cli/outputfile.h"
#include "cli/progressline.h"
#include "cli/report.h"
#include "compare/similarity.h"
#include "fingerprint/audioendings.h"
#include "fingerprint/audiofilediscovery.h"
#include "results/duplicatefilter.h"
#include "search/duplicatesearch.h"
#include "search/fingerprintcollection.h"
#include "search/fingerprintstore.h"
#include "search/forgetting.h"
#include "search/keptreferences.h"
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
 * \a folder under one name, so that a folder that is given twice lists each file once. Only the
 * file system can resolve "..": the folder above a link's target is not the one above the link.
 */
QString absoluteFolder(const QString& folder)
{
    const QFileInfo info(folder);
    const bool goesUp = folder.split(QLatin1Char('/')).contains(QLatin1String(".."));
    return goesUp ? info.canonicalFilePath() : QDir::cleanPath(info.absoluteFilePath());
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

fingerprint::ListingOptions listingOptions(const Options& options)
{
    fingerprint::ListingOptions listing;
    listing.notedEndings = fingerprint::audioEndings();
    if (options.everyEnding) {
        listing.moreEndings = listing.notedEndings;
    }
    for (const QString& ending : options.moreEndings) {
        listing.moreEndings.insert(ending);
    }
    if (!options.excluded.isEmpty()) {
        listing.isExcluded = [exclusion = Exclusion(options.excluded)](const QString& pathBelow,
                                                                       bool isFolder) {
            return exclusion.matches(pathBelow, isFolder);
        };
    }
    return listing;
}

/** What an interrupted search has left in the store. */
QString keptText(qsizetype savedCount, const QString& storeFile)
{
    return QStringLiteral("%1 new %2 kept in %3")
        .arg(savedCount)
        .arg(savedCount == 1 ? QStringLiteral("fingerprint") : QStringLiteral("fingerprints"),
             storeFile);
}

/** One search, from the folders to the written result. */
class Search
{
public:
    explicit Search(const Options& options)
        : m_options(options)
        , m_stop(m_interruption.token())
        , m_progress(!options.quiet)
    {
        m_report.betweenGroups = !options.against.isEmpty();
        m_report.threshold = chosenThreshold(options);
        m_report.keep = keepRuleTexts(options.keep);
        m_report.leastDuration = options.leastDuration;
    }

    int run()
    {
        int status = Done;
        try {
            findAndWriteDuplicates();
            status = m_storeFailed ? Failed : m_folderMissing ? FolderMissing : Done;
        } catch (const SearchFailure& failure) {
            m_progress.clear();
            if (!m_stop.stop_requested()) {
                printMessage(failure.reason);
            }
            status = Failed;
        }
        // A stop after the result is written changes nothing.
        if (!m_stop.stop_requested() || m_written) {
            return status;
        }
        m_progress.clear();
        if (!m_options.storeFile.isEmpty()) {
            printMessage(keptText(m_savedCount, m_options.storeFile));
        }
        return m_interruption.exitStatus();
    }

private:
    void findAndWriteDuplicates()
    {
        const QString warning = thresholdWarning(m_options);
        if (!warning.isEmpty()) {
            printMessage(warning);
        }
        requireUsableOutput();
        const std::unique_ptr<search::FingerprintStore> store = openStore();
        const fingerprint::FileLists files = listFiles();
        if (m_options.forget && !m_stop.stop_requested()) {
            forgetGone(*store, files);
        }
        if (!m_stop.stop_requested() && hasPairs(files)) {
            compareFiles(files, store.get());
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
        if (m_options.storeFile.isEmpty()) {
            return nullptr;
        }
        try {
            return std::make_unique<search::FingerprintStore>(m_options.storeFile);
        } catch (const search::StoreError& error) {
            throw SearchFailure{error.message()};
        }
    }

    fingerprint::FileLists listFiles()
    {
        m_report.folders = usableFolders(m_options.folders);
        m_report.against = usableFolders(m_options.against);
        m_progress.show(QStringLiteral("Listing files"));
        const FoundFiles found =
            findFiles(m_report.folders, m_report.against, listingOptions(m_options), m_stop);
        const fingerprint::FileLists& files = found.lists;
        m_report.fileCount = files.first.size() + files.second.size();
        m_report.skipped = found.skipped;
        m_report.notSearched = found.notSearched;
        printSkipped();
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

    /** Prints the folders that were not listed, and on request all that was skipped. */
    void printSkipped()
    {
        for (const fingerprint::SkippedEntry& entry : std::as_const(m_report.skipped)) {
            m_folderMissing = m_folderMissing || entry.isUnlistedFolder;
            if (entry.isUnlistedFolder || m_options.verbose) {
                m_progress.clear();
                printMessage(QStringLiteral("Skipped: %1: %2").arg(entry.path, entry.reason));
            }
        }
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

    QStringList usableFolders(const QStringList& names)
    {
        QStringList folders;
        for (const QString& name : names) {
            const QFileInfo info(name);
            QString problem;
            if (!info.exists()) {
                problem = QStringLiteral("No such folder: %1");
            } else if (!info.isDir()) {
                problem = QStringLiteral("Not a folder: %1");
            } else if (!info.isReadable() || !info.isExecutable()) {
                problem = QStringLiteral("The folder cannot be read: %1");
            }
            if (problem.isEmpty()) {
                folders.append(absoluteFolder(name));
            } else {
                m_progress.clear();
                printMessage(problem.arg(name));
                m_folderMissing = true;
            }
        }
        return folders;
    }

    /** As in the window, no file is read if it has nothing to be compared with. */
    bool hasPairs(const fingerprint::FileLists& files) const
    {
        return !files.first.isEmpty() && (!m_report.betweenGroups || !files.second.isEmpty());
    }

    void compareFiles(const fingerprint::FileLists& files, search::FingerprintStore* store)
    {
        const search::Collection collection = fingerprintListed(files, store);
        if (m_stop.stop_requested()) {
            return;
        }
        m_report.failures = collection.failures;
        const auto first = longEnough(collection.records.mid(0, files.first.size()));
        const auto second = longEnough(collection.records.mid(files.first.size()));
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

    /** Drops the records that are too short. Keeps those without a known length. */
    QList<FingerprintRecord> longEnough(QList<FingerprintRecord> records)
    {
        if (m_options.leastDuration) {
            m_report.tooShortCount += records.removeIf([this](const FingerprintRecord& record) {
                const auto& [path, words, durationMs, sampleRateHz, channels] = record;
                return !words.isEmpty() && durationMs >= 0 &&
                       durationMs < qint64{1000} * *m_options.leastDuration;
            });
        }
        return records;
    }

    search::Collection fingerprintListed(const fingerprint::FileLists& files,
                                         search::FingerprintStore* store)
    {
        const QStringList all = files.first + files.second;
        m_progress.show(QStringLiteral("Fingerprinting: 0 of %1 files").arg(all.size()));
        search::Collection collection = search::fingerprintFiles(
            all, {m_options.threadCount, store, fingerprintingProgress(), m_stop});
        m_progress.clear();
        if (!collection.storeFailure.isEmpty()) {
            printMessage(collection.storeFailure);
            m_storeFailed = true;
        }
        m_savedCount = collection.savedCount;
        if (m_options.verbose && !m_stop.stop_requested()) {
            for (const search::FailedFile& failure : collection.failures) {
                printMessage(QStringLiteral("%1: %2").arg(failure.path, failure.reason));
            }
        }
        return collection;
    }

    std::function<void(const search::CollectionProgress&)> fingerprintingProgress()
    {
        QElapsedTimer timer;
        timer.start();
        return [this, timer](const search::CollectionProgress& progress) {
            if (!m_progress.isDue()) {
                return;
            }
            QString text = QStringLiteral("Fingerprinting: %1 of %2 files")
                               .arg(progress.filesDone)
                               .arg(progress.allFiles);
            const double seconds = static_cast<double>(timer.elapsed()) / 1000.0;
            if (progress.filesDecoded > 0 && seconds > 0.0) {
                const double hoursASecond = progress.secondsOfAudioDecoded / 3600.0 / seconds;
                const auto left = static_cast<double>(progress.allFiles - progress.filesDone);
                text +=
                    QStringLiteral(", %1 hours of audio a second, %2 left")
                        .arg(hoursASecond, 0, 'f', 2)
                        .arg(timeText(seconds / static_cast<double>(progress.filesDecoded) * left));
            }
            m_progress.show(text);
        };
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
    Report m_report;
    bool m_folderMissing = false;
    bool m_written = false;
    bool m_storeFailed = false;
    qsizetype m_savedCount = 0;
};

} // namespace

int runSearch(const Options& options)
{
    return Search(options).run();
}

} // namespace cli
