#pragma once

#include <QFont>
#include <QHash>
#include <QSize>
#include <QString>
#include <QStyledItemDelegate>

/**
 * Draws the rows of a list as any list does, but measures each text only once.
 *
 * A list measures all of its rows anew whenever one box is ticked. With many thousand rows that
 * makes a tick slow.
 * Thread: GUI thread only.
 */
class RowDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    mutable QHash<QString, QSize> m_sizes; ///< For m_font and m_style only.
    mutable QFont m_font;
    mutable const QStyle* m_style = nullptr;
};
