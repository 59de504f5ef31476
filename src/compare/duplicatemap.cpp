#include "compare/duplicatemap.h"

namespace compare {

void addIfDuplicate(DuplicateMap& duplicates, const QString& referencePath,
                    const QString& matchPath, int similarity, int threshold)
{
    if (similarity >= threshold) {
        duplicates[referencePath].append({matchPath, similarity});
    }
}

} // namespace compare
