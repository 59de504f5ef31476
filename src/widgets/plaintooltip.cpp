#include "widgets/plaintooltip.h"

#include <QFontMetrics>
#include <QScreen>
#include <QToolTip>
#include <QWidget>

#include <algorithm>

QString plainToolTip(const QString& text, const QWidget& widget)
{
    const QFontMetrics metrics(QToolTip::font());
    const int room = widget.screen()->availableSize().width() * 9 / 10;
    const QList<QStringView> lines = QStringView(text).split(u'\n');
    const bool fits = std::all_of(lines.cbegin(), lines.cend(), [&metrics, room](QStringView line) {
        return metrics.horizontalAdvance(line.toString()) < room;
    });
    return QStringLiteral("<p style='white-space:%1'>%2</p>")
        .arg(fits ? QStringLiteral("pre") : QStringLiteral("pre-wrap"), text.toHtmlEscaped());
}
