#include "cli/filecollector.h"

#include "cli/exclusion.h"
#include "cli/message.h"
#include "fingerprint/audioendings.h"
#include "search/trustedstore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <utility>

namespace cli {

namespace {

/** Why the folder called \a name cannot be searched; empty if it can. */
QString problemOf(const QString& name)
{
    const QFileInfo info(name);
    if (!info.exists()) {
        return QStringLiteral("No such folder: %1");
    }
    if (!info.isDir()) {
        return QStringLiteral("Not a folder: %1");
    }
    if (!info.isReadable() || !info.isExecutable()) {
        return QStringLiteral("The folder cannot be read: %1");
    }
    return {};
}

QString progressText(const search::CollectionProgress& progress, double seconds)
{
    QString text = QStringLiteral("Fingerprinting: %1 of %2 files")
                       .arg(progress.filesDone)
                       .arg(progress.allFiles);
    if (progress.filesDecoded > 0 && seconds > 0.0) {
        const double hoursASecond = progress.secondsOfAudioDecoded / 3600.0 / seconds;
        const auto left = static_cast<double>(progress.allFiles - progress.filesDone);
        text += QStringLiteral(", %1 hours of audio a second, %2 left")
                    .arg(hoursASecond, 0, 'f', 2)
                    .arg(timeText(seconds / static_cast<double>(progress.filesDecoded) * left));
    }
    return text;
}

} // namespace

fingerprint::ListingOptions listingOptions(const FileOptions& options)
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

QString absoluteFolder(const QString& folder)
{
    const QFileInfo info(folder);
    const bool goesUp = folder.split(QLatin1Char('/')).contains(QLatin1String(".."));
    return goesUp ? info.canonicalFilePath() : QDir::cleanPath(info.absoluteFilePath());
}

FileCollector::FileCollector(const FileOptions& options, ProgressLine& progress,
                             std::stop_token stop)
    : m_options(options)
    , m_progress(progress)
    , m_stop(std::move(stop))
{
}

QStringList FileCollector::usableFolders(const QStringList& names)
{
    QStringList folders;
    for (const QString& name : names) {
        const QString problem = problemOf(name);
        if (problem.isEmpty()) {
            folders.append(absoluteFolder(name));
        } else {
            print(problem.arg(name));
            m_folderMissing = true;
        }
    }
    return folders;
}

FoundFiles FileCollector::find(const QStringList& folders, const QStringList& against)
{
    m_progress.show(QStringLiteral("Listing files"));
    FoundFiles found = findFiles(folders, against, listingOptions(m_options), m_stop);
    printSkipped(found.skipped);
    return found;
}

/** Prints the folders that were not listed, and on request all that was skipped. */
void FileCollector::printSkipped(const QList<fingerprint::SkippedEntry>& skipped)
{
    for (const fingerprint::SkippedEntry& entry : skipped) {
        m_folderMissing = m_folderMissing || entry.isUnlistedFolder;
        if (entry.isUnlistedFolder || m_options.verbose) {
            print(QStringLiteral("Skipped: %1: %2").arg(entry.path, entry.reason));
        }
    }
}

search::Collection FileCollector::fingerprint(const QStringList& files,
                                              search::FingerprintStore* store, bool savesOnly)
{
    m_progress.show(QStringLiteral("Fingerprinting: 0 of %1 files").arg(files.size()));
    search::Collection collection = search::fingerprintFiles(
        files, {m_options.threadCount, store, fingerprintingProgress(), m_stop, savesOnly});
    m_progress.clear();
    if (!collection.storeFailure.isEmpty()) {
        print(collection.storeFailure);
        m_storeFailed = true;
    }
    m_savedCount = collection.savedCount;
    if (!m_stop.stop_requested()) {
        printFailures(collection.failures);
    }
    return collection;
}

/** Prints on request the files that have no fingerprint. */
void FileCollector::printFailures(const QList<search::FailedFile>& failures)
{
    if (!m_options.verbose) {
        return;
    }
    for (const search::FailedFile& failure : failures) {
        print(QStringLiteral("%1: %2").arg(failure.path, failure.reason));
    }
}

QStringList FileCollector::storedFolders(const search::TrustedStore& store,
                                         const QStringList& names)
{
    QStringList folders;
    for (const QString& name : names) {
        // Empty if it does not exist.
        QString folder = absoluteFolder(name);
        if (folder.isEmpty()) {
            folder = QDir::cleanPath(QFileInfo(name).absoluteFilePath());
        }
        if (store.hasFilesBelow(folder)) {
            folders.append(folder);
        } else {
            print(QStringLiteral("The store has no file below this folder: %1").arg(name));
            m_folderMissing = true;
        }
    }
    return folders;
}

FoundFiles FileCollector::find(const search::TrustedStore& store, const QStringList& folders,
                               const QStringList& against)
{
    m_progress.show(QStringLiteral("Listing files"));
    const fingerprint::ListingOptions options = listingOptions(m_options);
    return filesFoundIn(store.list(folders, options, m_stop), store.list(against, options, m_stop));
}

search::Collection FileCollector::load(const search::TrustedStore& store,
                                       const QStringList& folders, const QStringList& files,
                                       const search::DurationRange& durations)
{
    m_progress.show(QStringLiteral("Reading: 0 of %1 files").arg(files.size()));
    search::Collection collection = store.load(
        folders, files,
        [this](const search::CollectionProgress& progress) {
            if (m_progress.isDue()) {
                m_progress.show(QStringLiteral("Reading: %1 of %2 files")
                                    .arg(progress.filesDone)
                                    .arg(progress.allFiles));
            }
        },
        m_stop, durations);
    m_progress.clear();
    if (!m_stop.stop_requested()) {
        printFailures(collection.failures);
    }
    return collection;
}

void FileCollector::printKept()
{
    if (m_options.storeFile.isEmpty()) {
        return;
    }
    print(
        QStringLiteral("%1 new %2 kept in %3")
            .arg(m_savedCount)
            .arg(m_savedCount == 1 ? QStringLiteral("fingerprint") : QStringLiteral("fingerprints"),
                 m_options.storeFile));
}

std::function<void(const search::CollectionProgress&)> FileCollector::fingerprintingProgress()
{
    QElapsedTimer timer;
    timer.start();
    return [this, timer](const search::CollectionProgress& progress) {
        if (m_progress.isDue()) {
            m_progress.show(progressText(progress, static_cast<double>(timer.elapsed()) / 1000.0));
        }
    };
}

void FileCollector::print(const QString& message)
{
    m_progress.clear();
    printMessage(message);
}

} // namespace cli
