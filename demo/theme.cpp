#include "theme.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>

namespace {

QPalette darkPalette()
{
    const QColor text(0xf0, 0xf0, 0xf0);
    const QColor dimmed(0x80, 0x85, 0x8a);
    // The shades of edges and grooves follow from these two. Fields are lighter than what is around
    // them: the style draws their frames, and those of boxes to tick, darker than the window.
    QPalette palette(QColor(0x31, 0x36, 0x3b), QColor(0x20, 0x23, 0x26));
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::BrightText,
          QPalette::ToolTipText, QPalette::HighlightedText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, dimmed);
    }
    palette.setColor(QPalette::PlaceholderText, dimmed);
    palette.setColor(QPalette::Base, QColor(0x2a, 0x2e, 0x32));
    palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x29, 0x2d));
    palette.setColor(QPalette::ToolTipBase, QColor(0x31, 0x36, 0x3b));
    palette.setColor(QPalette::Highlight, QColor(0x1f, 0x6f, 0xa8));
    palette.setColor(QPalette::Link, QColor(0x5a, 0xb0, 0xf0));
    return palette;
}

} // namespace

bool theme::apply(const QString& name)
{
    const bool dark = name == QStringLiteral("dark");
    if (!dark && name != QStringLiteral("light")) {
        return false;
    }
    QApplication::setStyle(QStringLiteral("fusion"));
    QApplication::setPalette(dark ? darkPalette() : QApplication::style()->standardPalette());
    return true;
}
