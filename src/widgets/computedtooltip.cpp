#include "widgets/computedtooltip.h"

#include "widgets/plaintooltip.h"

#include <QHelpEvent>
#include <QToolTip>
#include <QWidget>

namespace {

class ToolTipShower : public QObject
{
public:
    ToolTipShower(QWidget* widget, std::function<QString()> text)
        : QObject(widget)
        , m_widget(widget)
        , m_text(std::move(text))
    {
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (event->type() != QEvent::ToolTip) {
            return false;
        }
        const QString text = m_text();
        if (text.isEmpty()) {
            return false;
        }
        const auto* help = static_cast<QHelpEvent*>(event);
        QToolTip::showText(help->globalPos(), plainToolTip(text, *m_widget), m_widget);
        return true;
    }

private:
    QWidget* m_widget;
    std::function<QString()> m_text;
};

} // namespace

void computedToolTip::shows(QWidget* widget, const std::function<QString()>& text)
{
    widget->installEventFilter(new ToolTipShower(widget, text));
}
