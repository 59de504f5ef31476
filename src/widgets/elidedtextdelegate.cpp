#include "widgets/elidedtextdelegate.h"

#include <QAbstractItemView>
#include <QFontMetrics>
#include <QHelpEvent>
#include <QScreen>
#include <QToolTip>

namespace {

/** \a text on one line, or on several where the screen is narrower; its spaces as they are. */
QString asToolTip(const QString& text, const QWidget& widget)
{
    const bool fits = QFontMetrics(QToolTip::font()).horizontalAdvance(text) <
                      widget.screen()->availableSize().width() * 9 / 10;
    return QStringLiteral("<p style='white-space:%1'>%2</p>")
        .arg(fits ? QStringLiteral("pre") : QStringLiteral("pre-wrap"), text.toHtmlEscaped());
}

} // namespace

bool ElidedTextDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view,
                                   const QStyleOptionViewItem& option, const QModelIndex& index)
{
    if (event->type() != QEvent::ToolTip || !index.isValid() ||
        sizeHint(option, index).width() <= option.rect.width()) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    const QString text = index.data(Qt::DisplayRole).toString();
    QToolTip::showText(event->globalPos(), asToolTip(text, *view), view, option.rect);
    return true;
}
