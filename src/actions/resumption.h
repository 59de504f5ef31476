#pragma once

#include "actions/journal.h"
#include "actions/searchresult.h"

#include <QList>
#include <QString>

namespace actions {

/**
 * Finishes a move that has left its place: writes that to the journal if all of \a watched can
 * still be read, and otherwise moves the file back. Returns why it is back; nothing if it is not.
 * Errors: throws ActionError if the file cannot go back. Thread: Any thread, blocking.
 */
QString finishMove(Journal& journal, int number, const QList<ResultFile>& watched);

/**
 * Finds out what became of the moves of \a journal that an interruption left open, to either
 * direction, and finishes them: files that have left their places are checked as any other. An
 * incomplete or second copy that a kill left in the folder gets a name that ends in
 * ".quorvel-left-over", so that the file can be moved.
 * Errors: throws ActionError. Thread: Any thread, blocking.
 */
void settleInterrupted(Journal& journal, const SearchResult& result);

} // namespace actions
