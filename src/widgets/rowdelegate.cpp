#include "widgets/rowdelegate.h"

#include <QWidget>

QSize RowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QStyle* style = option.widget != nullptr ? option.widget->style() : nullptr;
    if (style != m_style || option.font != m_font) {
        m_sizes.clear();
        m_style = style;
        m_font = option.font;
    }
    QSize& size = m_sizes[index.data(Qt::DisplayRole).toString()];
    if (!size.isValid()) {
        size = QStyledItemDelegate::sizeHint(option, index);
    }
    return size;
}
