#include "fingerprint/filelists.h"

#include <algorithm>
#include <iterator>

namespace fingerprint {

namespace {

QStringList sortedWithoutRepeats(QStringList paths)
{
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return paths;
}

} // namespace

FileLists listsToFingerprint(const QStringList& groupA, const QStringList& groupB)
{
    FileLists lists;
    lists.first = sortedWithoutRepeats(groupA);
    const QStringList allOfGroupB = sortedWithoutRepeats(groupB);
    std::set_difference(allOfGroupB.cbegin(), allOfGroupB.cend(), lists.first.cbegin(),
                        lists.first.cend(), std::back_inserter(lists.second));
    return lists;
}

} // namespace fingerprint
