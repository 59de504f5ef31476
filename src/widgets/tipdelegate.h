#pragma once

#include "widgets/rowdelegate.h"

#include <QModelIndex>

#include <functional>

/**
 * Draws rows as RowDelegate does, and computes their tooltips when they are asked for, behind what
 * the item itself has as its tooltip.
 * Thread: GUI thread only.
 */
class TipDelegate : public RowDelegate
{
    Q_OBJECT

public:
    /** Returns plain text, in lines; empty for none. */
    using Text = std::function<QString(const QModelIndex& row)>;

    TipDelegate(const Text& text, QObject* parent);

    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

private:
    Text m_text;
};
