#include "widgets/elidedtextdelegate.h"

#include "widgets/plaintooltip.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QToolTip>

bool ElidedTextDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                   const QStyleOptionViewItem& option, const QModelIndex& index)
{
    if (event->type() != QEvent::ToolTip || !index.isValid() ||
        sizeHint(option, index).width() <= option.rect.width()) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    const QString text = index.data(Qt::DisplayRole).toString();
    QToolTip::showText(event->globalPos(), plainToolTip(text, *view), view, option.rect);
    return true;
}
