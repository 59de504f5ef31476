#pragma once

#include <QStringList>

#include <functional>

class QAbstractItemView;

namespace copyKey {

/**
 * Makes the platform's key for copying put \a paths, a line each, into the clipboard while \a view
 * has the focus, instead of the text of the current cell. Without paths the clipboard is left alone.
 * Thread: GUI thread only.
 */
void copiesPaths(QAbstractItemView* view, const std::function<QStringList()>& paths);

} // namespace copyKey
