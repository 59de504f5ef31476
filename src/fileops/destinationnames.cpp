#include "fileops/destinationnames.h"

#include <QDir>
#include <QFileInfo>

namespace fileops {

QString destinationName(const QString& source, const QString& marker, qsizetype number)
{
    const QFileInfo name(source);
    return name.baseName() + marker + QString::number(number) + u'.' + name.suffix();
}

QString destinationPath(const QString& directory, const QString& source, const QString& marker,
                        qsizetype number)
{
    QString path = directory;
    if (!path.endsWith(QDir::separator())) {
        path += QDir::separator();
    }
    return path + destinationName(source, marker, number);
}

QList<SourceAndDestination> withDestinations(const QStringList& sources, const QString& directory,
                                             const QString& marker)
{
    QList<SourceAndDestination> work;
    work.reserve(sources.size());
    for (const QString& source : sources) {
        work.emplaceBack(source, destinationPath(directory, source, marker, work.size() + 1));
    }
    return work;
}

} // namespace fileops
