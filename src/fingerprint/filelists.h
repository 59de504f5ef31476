#pragma once

#include <QStringList>

namespace fingerprint {

/** The files that one run fingerprints. No file is listed twice, in one list or in both. */
struct FileLists
{
    /** Group A's files, ascending by UTF-16 code unit. */
    QStringList first;
    /** Group B's files that are not also Group A's, in the same order. */
    QStringList second;
};

/**
 * Makes the two lists of a run from the files that discovery found for each group. Paths are
 * compared exactly: letter case counts.
 * Thread: Any thread.
 */
FileLists listsToFingerprint(const QStringList& groupA, const QStringList& groupB);

} // namespace fingerprint
