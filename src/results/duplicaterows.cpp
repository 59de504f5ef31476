#include "results/duplicaterows.h"

#include "fileops/keptfiles.h"

#include <QFile>

namespace results {

QList<DuplicateRow> duplicateRows(const DuplicateMap& duplicates)
{
    QList<DuplicateRow> rows;
    fileops::KeptFiles keptFiles(duplicates.keys());
    for (auto entry = duplicates.cbegin(); entry != duplicates.cend(); ++entry) {
        const QString& reference = entry.key();
        for (const auto& [path, similarity] : entry.value()) {
            if (QFile::exists(path)) {
                rows.append({path, keptFiles.nameOf(path), reference, keptFiles.isThere(reference),
                             similarity});
            }
        }
    }
    return rows;
}

} // namespace results
