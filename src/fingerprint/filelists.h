#pragma once

#include <QStringList>

namespace fingerprint {

/** The files that one run fingerprints; no file stands twice, within a list or in both. */
struct FileLists
{
    /** Group A's files, ascending by UTF-16 code unit. */
    QStringList first;
    /** Group B's files that are not also Group A's, in the same order. */
    QStringList second;
};

/**
 * Makes the two lists of a run out of what discovery found for each group. Paths are told apart
 * exactly: letter case counts. Reentrant.
 */
FileLists listsToFingerprint(const QStringList& groupA, const QStringList& groupB);

} // namespace fingerprint
