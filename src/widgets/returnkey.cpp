#include "widgets/returnkey.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QPushButton>

namespace {

/** Turns Return and Enter into the space bar. */
class SpaceForReturn : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::KeyPress && event->type() != QEvent::KeyRelease) {
            return false;
        }
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter) {
            return false;
        }
        QKeyEvent space(event->type(), Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "),
                        key->isAutoRepeat());
        QCoreApplication::sendEvent(watched, &space);
        return true;
    }
};

} // namespace

void returnKey::pressesFocused(const QList<QPushButton*>& buttons)
{
    for (QPushButton* button : buttons) {
        button->installEventFilter(new SpaceForReturn(button));
    }
}
