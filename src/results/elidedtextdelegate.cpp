#include "results/elidedtextdelegate.h"

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
    const QString text = index.data(Qt::DisplayRole).toString().toHtmlEscaped();
    QToolTip::showText(event->globalPos(),
                       QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(text), view,
                       option.rect);
    return true;
}
