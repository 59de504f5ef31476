#include "widgets/elidedlabel.h"

#include "widgets/plaintooltip.h"

#include <QHelpEvent>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QStylePainter>
#include <QToolTip>

#include <algorithm>

namespace {

/** As few characters as may be left of the text. */
constexpr int kFewestCharacters = 12;

} // namespace

ElidedLabel::ElidedLabel(QWidget* parent)
    : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
}

QSize ElidedLabel::minimumSizeHint() const
{
    const QSize whole = QLabel::minimumSizeHint();
    return {std::min(whole.width(), kFewestCharacters * fontMetrics().averageCharWidth()),
            whole.height()};
}

bool ElidedLabel::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip && width() < sizeHint().width()) {
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), plainToolTip(text(), *this), this);
        return true;
    }
    return QLabel::event(event);
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/)
{
    QStylePainter painter(this);
    const QRect area = contentsRect();
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, area.width());
    painter.drawItemText(area, int(QStyle::visualAlignment(layoutDirection(), alignment())),
                         palette(), isEnabled(), shown, foregroundRole());
    if (hasFocus()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        painter.drawPrimitive(QStyle::PE_FrameFocusRect, option);
    }
}
