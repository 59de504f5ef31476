#pragma once

#include "fingerprint/audiofilediscovery.h"
#include "search/durationrange.h"
#include "search/fingerprintcollection.h"
#include "search/storeconnection.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <stop_token>

namespace search {

/**
 * A store that is searched in place of the files: no file is looked at, no folder is listed. What it
 * holds stays the same as long as the object exists, and other programs that write to it wait.
 *
 * Folders are absolute, and need not exist; their files have names below them, as listing them
 * would give. Only links on the way to a folder are resolved, to find it in the store.
 *
 * Thread: Reentrant: one object per thread.
 */
class TrustedStore
{
public:
    /**
     * Opens the store at \a fileName for reading only. Each access waits up to \a patience for
     * other programs. Errors: throws StoreError if it does not exist, cannot be read, has other
     * tables or is not of this version. Damage within them is an error of what reads it.
     */
    explicit TrustedStore(const QString& fileName,
                          std::chrono::milliseconds patience = std::chrono::minutes(1));

    /** Whether the store holds any file below \a folder. Errors: throws StoreError. */
    bool hasFilesBelow(const QString& folder) const;

    /**
     * As fingerprint::listAudioFiles() lists the files below \a folders, but of those that the store
     * holds, and without skipped entries. Errors: throws StoreError.
     */
    fingerprint::Listing list(const QStringList& folders,
                              const fingerprint::ListingOptions& options,
                              const std::stop_token& stop = {}) const;

    /**
     * As fingerprintFiles() returns \a files, each of them once, which list() returned for
     * \a folders. Of fingerprints whose files are not inside of \a durations it returns the first
     * word only, so that the other ones fit into the memory. \a progress, if set, is called for
     * each file. Errors: throws StoreError.
     */
    Collection load(const QStringList& folders, const QStringList& files,
                    const std::function<void(const CollectionProgress&)>& progress = {},
                    const std::stop_token& stop = {}, const DurationRange& durations = {}) const;

private:
    StoreConnection m_connection;
};

} // namespace search
