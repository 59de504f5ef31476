#pragma once

#include <QStringList>

#include <functional>

class QAbstractItemView;

namespace folderDrop {

/**
 * Lets folders be dropped on \a view, and calls \a add with their paths, in their order. What holds
 * anything else, or nothing, is refused while it is dragged, so that the pointer shows it: a file
 * among the folders would be passed over without a word. Folders are only named, never moved.
 * Thread: GUI thread only.
 */
void accepts(QAbstractItemView* view, const std::function<void(const QStringList& folders)>& add);

} // namespace folderDrop
