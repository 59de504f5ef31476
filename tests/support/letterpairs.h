#pragma once

#include "compare/duplicatemap.h"

#include <QString>
#include <QStringList>

namespace support {

/** Pairs of paths of a letter each, such as "A:BC D:E", as a map whose similarities are all 90. */
inline DuplicateMap letterPairs(const char* text)
{
    DuplicateMap result;
    const QStringList entries = QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
    for (const QString& entry : entries) {
        for (const QChar path : entry.mid(2)) {
            result[entry.left(1)].append({QString(path), 90});
        }
    }
    return result;
}

} // namespace support
