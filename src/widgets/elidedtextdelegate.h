#pragma once

#include <QStyledItemDelegate>

/**
 * Draws cells as any view does, and tells the whole text of one that has no room for it when the
 * pointer rests on it. The text is taken as it is, never as markup: it is a file's name.
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
