#pragma once

#include <QAbstractItemView>
#include <QApplication>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QMenu>
#include <QStringList>
#include <QTest>
#include <QToolTip>

/** Context menus and tooltips of rows, as a person calls them up. Thread: GUI thread only. */
namespace support {

/** The menu that is open, or null. */
inline QMenu* menuShown()
{
    return qobject_cast<QMenu*>(QApplication::activePopupWidget());
}

/** Presses the right button on \a row. Returns the menu that opens, or null. */
inline QMenu* openMenu(QAbstractItemView* view, const QModelIndex& row)
{
    view->scrollTo(row);
    const QPoint place = view->visualRect(row).center();
    QTest::mouseClick(view->viewport(), Qt::RightButton, {}, place);
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, view->viewport()->mapToGlobal(place));
    QApplication::sendEvent(view->viewport(), &event);
    return menuShown();
}

/** Presses the key of context menus. Returns the menu that opens, or null. */
inline QMenu* openMenuByKey(QAbstractItemView* view)
{
    // The position is that of the middle of the view, wherever the current row is.
    const QPoint place = view->rect().center();
    QContextMenuEvent event(QContextMenuEvent::Keyboard, place, view->mapToGlobal(place));
    QApplication::sendEvent(view, &event);
    return menuShown();
}

/** As above, by the keys that do the same; the view's window must be active. */
inline QMenu* openMenuByShiftF10(QAbstractItemView* view)
{
    view->setFocus();
    QTest::keyClick(view, Qt::Key_F10, Qt::ShiftModifier);
    return menuShown();
}

/** The texts of the entries, "-" for a line between them. */
inline QStringList entriesOf(const QMenu* menu)
{
    QStringList texts;
    if (menu != nullptr) {
        const QList<QAction*> actions = menu->actions();
        for (const QAction* action : actions) {
            texts.append(action->isSeparator() ? QStringLiteral("-") : action->text());
        }
    }
    return texts;
}

/** Clicks an entry of the menu, which closes. False if there is none. */
[[nodiscard]] inline bool chooseEntry(QMenu* menu, const QString& text)
{
    if (menu == nullptr) {
        return false;
    }
    const QList<QAction*> actions = menu->actions();
    for (QAction* action : actions) {
        if (action->text() == text && action->isEnabled()) {
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(action).center());
            return true;
        }
    }
    return false;
}

/** Rests the pointer at \a place and returns the markup of the tooltip that appears, if any. */
inline QString toolTipOf(QWidget* widget, const QPoint& place)
{
    // An older one takes its time to go.
    QToolTip::hideText();
    if (!QTest::qWaitFor([] { return !QToolTip::isVisible(); })) {
        return QStringLiteral("an older tooltip stays");
    }
    QHelpEvent event(QEvent::ToolTip, place, widget->mapToGlobal(place));
    QApplication::sendEvent(widget, &event);
    return QToolTip::text();
}

/** As above, for \a row. */
inline QString toolTipOf(QAbstractItemView* view, const QModelIndex& row)
{
    return toolTipOf(view->viewport(), view->visualRect(row).topLeft() + QPoint(20, 5));
}

} // namespace support
