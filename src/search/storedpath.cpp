#include "search/storedpath.h"

#include <QDir>
#include <QFileInfo>

namespace search {

QString StoredPaths::of(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QString folder = path.left(slash + 1);
    QString& resolved = m_folders[folder];
    if (resolved.isEmpty()) {
        // Not that of the file: the folder of what a link points to is another one.
        const QString canonical =
            QFileInfo(folder.isEmpty() ? QStringLiteral(".") : folder).canonicalFilePath();
        // The folder may have gone in the meantime.
        resolved = canonical.isEmpty() ? QFileInfo(path).absolutePath() : canonical;
    }
    return (resolved.endsWith(QLatin1Char('/')) ? resolved : resolved + QLatin1Char('/')) +
           path.mid(slash + 1);
}

QString folderWithoutLinks(const QString& folder)
{
    const QString whole = QDir::cleanPath(folder);
    QString existing = whole;
    QString canonical = QFileInfo(existing).canonicalFilePath();
    while (canonical.isEmpty() && existing != QLatin1String("/")) {
        existing = QFileInfo(existing).path();
        canonical = QFileInfo(existing).canonicalFilePath();
    }
    return QDir::cleanPath(canonical + QLatin1Char('/') + whole.mid(existing.size()));
}

} // namespace search
