#pragma once

#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/filelists.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <stop_token>

namespace cli {

/** An ending of audio files that are not searched. */
struct UnsearchedEnding
{
    /** In lower case, without a dot. */
    QString ending;
    /** The number of files. */
    qsizetype count = 0;
};

/** The files of a search, and what it passes over. */
struct FoundFiles
{
    fingerprint::FileLists lists;
    /** Each path once, in the order of the paths. */
    QList<fingerprint::SkippedEntry> skipped;
    /** The most frequent first. */
    QList<UnsearchedEnding> notSearched;
};

/**
 * Lists the files of Group A in \a folders, and those of Group B in \a against.
 * Errors: what cannot be read is in the result. Thread: Any thread, blocking.
 */
FoundFiles findFiles(const QStringList& folders, const QStringList& against,
                     const fingerprint::ListingOptions& options, const std::stop_token& stop);

/** The same of files that are listed already. Thread: Any thread. */
FoundFiles filesFoundIn(const fingerprint::Listing& first, const fingerprint::Listing& second);

} // namespace cli
