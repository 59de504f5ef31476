#pragma once

#include "fingerprint/filefacts.h"
#include "fingerprint/fingerprintrecord.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <stop_token>

namespace search {

class FingerprintStore;

/** A file that could not be fingerprinted, and the reason. */
struct FailedFile
{
    QString path;
    QString reason;
};

/** The progress of fingerprintFiles(). */
struct CollectionProgress
{
    qsizetype filesDone = 0;
    qsizetype allFiles = 0;
    /** Those of the files done that were decoded, since the store did not know them. */
    qsizetype filesDecoded = 0;
    /** The length of the decoded files. */
    double secondsOfAudioDecoded = 0.0;
};

/** How files are fingerprinted. */
struct CollectionOptions
{
    int threadCount = 1;
    /** Read for fingerprints of earlier runs, and given new ones; may be null. */
    FingerprintStore* store = nullptr;
    /**
     * If set, called for each file once it has been looked up in the store, whenever files have
     * been decoded, and about five times a second meanwhile: for many files far more often than
     * a person can read.
     */
    std::function<void(const CollectionProgress&)> progress;
    /** A requested stop is answered in the middle of a file. */
    std::stop_token stop;
    /**
     * Whether the store alone is given the fingerprints: the lists of records and facts stay empty,
     * and once the store has failed, no further file is read.
     */
    bool savesOnly = false;
};

/** The result of fingerprintFiles(). */
struct Collection
{
    /** One for each file, in the order of the files, failed ones included. */
    QList<FingerprintRecord> records;
    /** One for each record, in the same order; those of failed files mean nothing. */
    QList<fingerprint::FileFacts> facts;
    /** In the same order. */
    QList<FailedFile> failures;
    /**
     * The files that were read and that a working store was not given, since the next run has to
     * read them again: they changed meanwhile, or the disk failed. In the same order.
     */
    QList<FailedFile> notKept;
    /** Why saving stopped; empty if everything was saved. */
    QString storeFailure;
    /** The number of fingerprints that were saved to the store, also after a stop. */
    qsizetype savedCount = 0;
};

/**
 * Fingerprints \a files on many threads. Saves each fingerprint as soon as it is made, unless its
 * file changed meanwhile. A store that fails is not used again; one that another program has locked
 * is retried with the next fingerprints.
 *
 * Requires: the thread that made the store. \a options.progress is called in this thread.
 * Errors: those of files are in the result. Throws std::bad_alloc, and std::system_error if no
 * thread can be started. After a requested stop the lists are incomplete and mean nothing.
 * Thread: Any thread, blocking.
 */
Collection fingerprintFiles(const QStringList& files, const CollectionOptions& options);

} // namespace search
