#pragma once

#include <functional>

class QAbstractItemView;
class QMenu;
class QModelIndex;
class QPoint;
class QWidget;

/** Context menus that do not hold up their caller. Thread: GUI thread only. */
namespace contextMenu {

/** Adds the entries of a row to an empty menu; without any, no menu opens. */
using Fill = std::function<void(QMenu& menu, const QModelIndex& row)>;

/**
 * Opens a menu on the rows of \a view: for the row under the pointer, or for the current one at the
 * key of context menus. A row that is not selected becomes the selected one first.
 *
 * Rows can go while the menu is open: \a fill keeps their paths or persistent indices, not items.
 */
void opensOnRows(QAbstractItemView* view, const Fill& fill);

/**
 * Makes Shift+F10 in \a widget do what the key of context menus does, which many keyboards lack: not
 * all of Qt's platforms do so themselves. opensOnRows() includes it.
 */
void opensByKey(QWidget* widget);

/** Opens a menu of \a owner at \a globalPosition, which deletes itself, and returns at once. */
void open(QWidget* owner, const QPoint& globalPosition, const std::function<void(QMenu&)>& fill);

} // namespace contextMenu
