#pragma once

#include <QString>

#include <functional>

class QWidget;

namespace computedToolTip {

/**
 * Gives \a widget a tooltip whose plain text is computed when it is asked for. While \a text is
 * empty, the widget's own is shown. Thread: GUI thread only.
 */
void shows(QWidget* widget, const std::function<QString()>& text);

} // namespace computedToolTip
