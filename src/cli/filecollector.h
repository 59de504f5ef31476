#pragma once

#include "cli/commandline.h"
#include "cli/foundfiles.h"
#include "cli/progressline.h"
#include "fingerprint/audiofilediscovery.h"
#include "search/fingerprintcollection.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <stop_token>

namespace search {
class FingerprintStore;
class TrustedStore;
} // namespace search

namespace cli {

/** Which files of a folder \a options ask for. Thread: Any thread. */
fingerprint::ListingOptions listingOptions(const FileOptions& options);

/**
 * \a folder under one name, so that a folder that is given twice lists each file once. Only the
 * file system can resolve "..": the folder above a link's target is not the one above the link.
 * Empty if it has such a part and does not exist. Thread: Any thread, blocking.
 */
QString absoluteFolder(const QString& folder);

/**
 * Finds files and fingerprints them for a command, shows its progress, and prints what failed.
 * Requires: \a options and \a progress that outlive it. Thread: Reentrant: one object per thread.
 */
class FileCollector
{
public:
    FileCollector(const FileOptions& options, ProgressLine& progress, std::stop_token stop);

    /** Returns those of \a names that are readable folders, as absolute paths. */
    QStringList usableFolders(const QStringList& names);

    /** Lists the files of Group A in \a folders, and those of Group B in \a against. */
    FoundFiles find(const QStringList& folders, const QStringList& against);

    /** As search::fingerprintFiles(), whose \a savesOnly is meant. */
    search::Collection fingerprint(const QStringList& files, search::FingerprintStore* store,
                                   bool savesOnly = false);

    /** As the functions above, but of the files that \a store holds. */
    QStringList storedFolders(const search::TrustedStore& store, const QStringList& names);
    FoundFiles find(const search::TrustedStore& store, const QStringList& folders,
                    const QStringList& against);
    search::Collection load(const search::TrustedStore& store, const QStringList& folders,
                            const QStringList& files, const search::DurationRange& durations);

    /** Prints what an interrupted command has left in the store, if it has one. */
    void printKept();

    /** Whether a folder, or one below it, does not exist or was not read. */
    bool isFolderMissing() const
    {
        return m_folderMissing;
    }
    /** Whether some fingerprints could not be saved. */
    bool hasStoreFailed() const
    {
        return m_storeFailed;
    }

private:
    void printSkipped(const QList<fingerprint::SkippedEntry>& skipped);
    void printFailures(const QList<search::FailedFile>& failures);
    std::function<void(const search::CollectionProgress&)> fingerprintingProgress();
    void print(const QString& message);

    const FileOptions& m_options;
    ProgressLine& m_progress;
    const std::stop_token m_stop;
    bool m_folderMissing = false;
    bool m_storeFailed = false;
    qsizetype m_savedCount = 0;
};

} // namespace cli
