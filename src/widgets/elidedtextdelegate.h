#pragma once

#include <QStyledItemDelegate>

/**
 * Draws cells as any view does, and shows elided text whole as a tooltip. The text is never taken
 * as markup: it is a file's name.
 * Thread: GUI thread only.
 */
class ElidedTextDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;
};
