#pragma once

#include <QString>

namespace fileops {

/** Whether \a path can be passed to the system, which would cut it at a null character.
 *  Thread: Any thread. */
inline bool isUsable(const QString& path)
{
    return !path.isEmpty() && !path.contains(QChar(u'\0'));
}

} // namespace fileops
