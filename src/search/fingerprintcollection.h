#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <stop_token>

namespace search {

class FingerprintStore;

/** A file that could not be fingerprinted, and why. */
struct FailedFile
{
    QString path;
    QString reason;
};

/** How far the fingerprinting of many files is. */
struct CollectionProgress
{
    qsizetype filesDone = 0;
    qsizetype allFiles = 0;
    /** Those of the files done that had to be decoded, since no store knew them. */
    qsizetype filesDecoded = 0;
    /** How long these play. */
    double secondsOfAudioDecoded = 0.0;
};

/** How files are fingerprinted. */
struct CollectionOptions
{
    int threadCount = 1;
    /** What is known already, and where what is made is kept; may be null. */
    FingerprintStore* store = nullptr;
    /** Called a few times a second, where set. */
    std::function<void(const CollectionProgress&)> progress;
    /** A requested stop is answered in the middle of a file. */
    std::stop_token stop;
};

/** What fingerprinting many files gave. */
struct Collection
{
    /** One for each file, in the order of the files, failed ones included. */
    QList<FingerprintRecord> records;
    /** In the same order. */
    QList<FailedFile> failures;
    /** Why the store took nothing any more at some time; empty when it took everything. */
    QString storeFailure;
};

/**
 * Fingerprints \a files on many threads. Each fingerprint is in the store as soon as it is made,
 * unless its file changed meanwhile; a store that fails on the way is left alone from then on, but
 * for one that another program keeps for too long, which is tried again with what is made next.
 *
 * Errors: a file's are in the result. Throws std::bad_alloc, and std::system_error when no thread
 * can be started. A stop requested before the end gives a result that stands for nothing.
 * Thread: the store's, blocking; \a options.progress is called in it.
 */
Collection fingerprintFiles(const QStringList& files, const CollectionOptions& options);

} // namespace search
