#pragma once

#include "actions/journal.h"

#include <QString>

/** Moves single files of a journal, and finds out where they are after a kill. */
namespace actions {

/**
 * Moves a file, never overwriting. One with several names (hard links) is only renamed: a copy on
 * another file system would no longer be one file with the other names.
 * Errors: the reason; the file is where it was. Thread: Any thread, blocking.
 */
QString moveWithLinks(const QString& from, const QString& to);

/** Where the file of a move is. */
enum class Whereabouts {
    InPlace,
    Away,
    Both, ///< Something has either name: a kill can leave that between file systems.
    Nowhere,
    Unknown, ///< The system gives no answer.
};
Whereabouts whereabouts(const JournalMove& move);

/** Whether the file in the place of \a move has its size and time. */
bool isAsItWas(const JournalMove& move);

/**
 * Moves a file of \a journal back to its place, and gives it and its folder the times that they
 * had. The folder keeps its time if it was changed by others since.
 * Errors: the reason; throws ActionError if the journal cannot be written.
 */
QString moveBack(Journal& journal, int number);

/** Finishes a move back that was interrupted after the file had come to its place. */
void finishReturn(Journal& journal, int number);

} // namespace actions
