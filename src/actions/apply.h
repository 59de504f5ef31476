#pragma once

#include "actions/applyrules.h"
#include "actions/searchresult.h"

#include <QString>

#include <functional>
#include <stop_token>

namespace actions {

/** What became of a duplicate, or of a file that is to be moved back. */
struct HandledFile
{
    enum class Outcome {
        Moved,       ///< Or would be.
        MovedBefore, ///< An earlier run did it.
        LeftAlone,
    };

    Outcome outcome = Outcome::LeftAlone;
    QString path;
    QString destination = {};
    QString reference = {};
    /** In percent. */
    int similarity = 0;
    qint64 sizeBytes = 0;
    /** Why it was left alone. */
    QString reason = {};
};

/** How many files came to which outcome. */
struct Counts
{
    qsizetype moved = 0;
    qsizetype movedBefore = 0;
    qsizetype leftAlone = 0;
    /** Of the files that were moved. */
    qint64 bytes = 0;
    /** Whether a requested stop left files unhandled. */
    bool isInterrupted = false;

    void add(const HandledFile& file);
};

/** Called for each file when it has been handled. */
using Listener = std::function<void(const HandledFile&)>;

/** What to do with the duplicates of a result. */
struct ApplyRequest
{
    /** Below which they are moved. */
    QString folder;
    QString journalFile;
    ApplyRules rules;
};

/**
 * Moves the duplicates of \a result as \a request asks, each below the folder under its own path,
 * and ends after the file in progress once \a stop is requested.
 *
 * - No file is overwritten, renamed or removed.
 * - No reference of any group is touched, under any name. After each move the duplicate's
 *   reference, and all of the same size, are opened again and read; if that fails, the file goes
 *   back.
 * - What is done is in the journal before it is done. After a kill the same call continues, and
 *   undo() moves everything back.
 * - One process of a user does this at a time.
 *
 * Errors: throws ActionError; the files moved until then are in the journal.
 * Thread: Any thread, blocking.
 */
Counts apply(const SearchResult& result, const ApplyRequest& request, const Listener& listener,
             const std::stop_token& stop);

/** As apply(), but only reports what that would do. Changes nothing, takes no lock. */
Counts planApply(const SearchResult& result, const ApplyRequest& request, const Listener& listener,
                 const std::stop_token& stop);

} // namespace actions
