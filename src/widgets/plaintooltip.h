#pragma once

#include <QString>

class QWidget;

/**
 * Returns \a text as the markup of a tooltip of \a widget that shows it as it is: it is a file's
 * name, or has one in it. Its lines are wrapped only where the screen is narrower than one of them.
 * Thread: GUI thread only.
 */
QString plainToolTip(const QString& text, const QWidget& widget);
