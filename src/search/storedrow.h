#pragma once

#include "search/fingerprintstore.h"

#include <QString>

class QSqlQuery;

namespace search {

/**
 * Returns the statement that selects the files of a store that \a condition holds for, with their
 * facts, as storedFileIn() reads them. Thread: Any thread.
 */
QString selectStoredFiles(const QString& condition);

/** Returns the name under which the store keeps the file in the current row of \a query. */
QString storedPathIn(const QSqlQuery& query);

/**
 * Whether the fingerprint in the current row of \a query is one, and absent only where the file has
 * failed. Requires: a query of selectStoredFiles().
 */
bool isRecordWholeIn(const QSqlQuery& query);

/**
 * Returns the file in the current row of \a query, which gets the name \a path.
 * Requires: a query of selectStoredFiles().
 */
StoredFile storedFileIn(const QSqlQuery& query, const QString& path);

} // namespace search
