#include "widgets/contextmenu.h"

#include <QAbstractItemView>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QMenu>
#include <QShortcut>

#include <memory>

namespace {

class RowMenuOpener : public QObject
{
public:
    RowMenuOpener(QAbstractItemView* view, contextMenu::Fill fill)
        : QObject(view)
        , m_view(view)
        , m_fill(std::move(fill))
    {
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (event->type() != QEvent::ContextMenu) {
            return false;
        }
        const auto* request = static_cast<QContextMenuEvent*>(event);
        if (request->reason() == QContextMenuEvent::Keyboard) {
            const QModelIndex row = m_view->currentIndex();
            m_view->scrollTo(row);
            openFor(row, m_view->viewport()->mapToGlobal(m_view->visualRect(row).center()));
        } else {
            const QPoint place = m_view->viewport()->mapFromGlobal(request->globalPos());
            openFor(m_view->indexAt(place), request->globalPos());
        }
        return true;
    }

private:
    void openFor(const QModelIndex& row, const QPoint& globalPosition)
    {
        if (!row.isValid()) {
            return;
        }
        if (!m_view->selectionModel()->isSelected(row)) {
            m_view->setCurrentIndex(row);
        }
        contextMenu::open(m_view, globalPosition, [this, row](QMenu& menu) { m_fill(menu, row); });
    }

    QAbstractItemView* m_view;
    contextMenu::Fill m_fill;
};

} // namespace

void contextMenu::opensOnRows(QAbstractItemView* view, const Fill& fill)
{
    auto* opener = new RowMenuOpener(view, fill);
    // The key arrives at the view, the mouse at its viewport.
    view->installEventFilter(opener);
    view->viewport()->installEventFilter(opener);
    opensByKey(view);
}

void contextMenu::opensByKey(QWidget* widget)
{
    auto* shortcut = new QShortcut(Qt::SHIFT | Qt::Key_F10, widget);
    shortcut->setContext(Qt::WidgetShortcut);
    shortcut->setAutoRepeat(false);
    QObject::connect(shortcut, &QShortcut::activated, widget, [widget] {
        const QPoint place = widget->rect().center();
        QContextMenuEvent event(QContextMenuEvent::Keyboard, place, widget->mapToGlobal(place));
        QCoreApplication::sendEvent(widget, &event);
    });
}

void contextMenu::open(QWidget* owner, const QPoint& globalPosition,
                       const std::function<void(QMenu&)>& fill)
{
    auto menu = std::make_unique<QMenu>(owner);
    fill(*menu);
    if (!menu->isEmpty()) {
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu.release()->popup(globalPosition);
    }
}
