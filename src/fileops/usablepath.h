#pragma once

#include <QString>

namespace fileops {

/** Whether the system can be given \a path: a null character would cut it short there. Reentrant.
 */
inline bool isUsable(const QString& path)
{
    return !path.isEmpty() && !path.contains(QChar(u'\0'));
}

} // namespace fileops
