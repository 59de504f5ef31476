#include "widgets/tipdelegate.h"

#include "widgets/plaintooltip.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QToolTip>

TipDelegate::TipDelegate(const Text& text, QObject* parent)
    : RowDelegate(parent)
    , m_text(text)
{
}

bool TipDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                            const QStyleOptionViewItem& option, const QModelIndex& index)
{
    if (event->type() != QEvent::ToolTip || !index.isValid()) {
        return RowDelegate::helpEvent(event, view, option, index);
    }
    const QString text = m_text(index);
    if (text.isEmpty()) {
        return RowDelegate::helpEvent(event, view, option, index);
    }
    const QString own = index.data(Qt::ToolTipRole).toString();
    QToolTip::showText(event->globalPos(), own + plainToolTip(text, *view), view, option.rect);
    return true;
}
