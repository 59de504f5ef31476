#pragma once

#include "compare/duplicatemap.h"
#include "search/keeporder.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace search {

/** Which files can be references. */
enum class Candidates {
    /** Any: the files were compared with each other. */
    All,
    /** Those that are keys, since files of two groups were compared. */
    FirstGroup,
};

/** Duplicates under the files that are kept. */
struct KeptReferences
{
    /** Each pair is under the file of it that is kept. The entries of a key are in path order. */
    DuplicateMap duplicates;
    /**
     * All files that can be references. What is found first among those that are alike, or linked
     * by others that are, is kept; others have no order.
     */
    QStringList bestFirst;
};

/**
 * Orders the files of \a found by \a rules, see bestFirst(), and puts each pair under the better one
 * of its files where \a candidates allow that. Files that no chain of pairs links have no influence
 * on each other. \a fileOf gets each candidate's path once.
 *
 * The similarity of a pair is the same in both directions, so this gives what a comparison of the
 * files in their order would, which cannot be had before the pairs are known.
 *
 * Cost: linear in the pairs, beside that of bestFirst(); frees \a found on the way.
 * Thread: Any thread; \a fileOf is called in it.
 */
KeptReferences keepBest(DuplicateMap found, const QList<KeepRule>& rules, Candidates candidates,
                        const std::function<KeepCandidate(const QString&)>& fileOf);

} // namespace search
