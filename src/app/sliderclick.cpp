#include "app/sliderclick.h"

#include <QMouseEvent>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>

namespace {

/** What the style is asked with about a horizontal slider. */
QStyleOptionSlider optionOf(const QSlider* slider)
{
    QStyleOptionSlider option;
    option.initFrom(slider);
    option.subControls = QStyle::SC_None;
    option.orientation = slider->orientation();
    option.minimum = slider->minimum();
    option.maximum = slider->maximum();
    option.sliderPosition = slider->sliderPosition();
    option.sliderValue = slider->value();
    option.tickPosition = static_cast<QSlider::TickPosition>(slider->tickPosition());
    // Where writing runs from right to left, so does the slider, but styles go by this alone.
    option.upsideDown = slider->invertedAppearance() != (option.direction == Qt::RightToLeft);
    option.direction = Qt::LeftToRight;
    return option;
}

/**
 * Moves the handle before the slider sees the press, so that it finds the pointer on the handle. A
 * proxy style could do it, too, but would not follow a change of the program's style.
 */
class HandleMover : public QObject
{
public:
    explicit HandleMover(QSlider* slider)
        : QObject(slider)
        , m_slider(slider)
    {
    }

    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        if (event->type() == QEvent::MouseButtonPress) {
            const auto* press = static_cast<QMouseEvent*>(event);
            // As the slider itself, it takes no press while another button is down or it is
            // disabled.
            if (press->buttons() == Qt::LeftButton && m_slider->isEnabled()) {
                moveHandleTo(press->position().toPoint());
            }
        }
        return false;
    }

private:
    void moveHandleTo(QPoint point)
    {
        const QStyleOptionSlider option = optionOf(m_slider);
        const auto rectOf = [this, &option](QStyle::SubControl part) {
            return m_slider->style()->subControlRect(QStyle::CC_Slider, &option, part, m_slider);
        };
        const QRect handle = rectOf(QStyle::SC_SliderHandle);
        const QRect groove = rectOf(QStyle::SC_SliderGroove);
        if (handle.contains(point)) {
            return;
        }
        const int toMiddle = handle.center().x() - handle.x();
        m_slider->setSliderPosition(QStyle::sliderValueFromPosition(
            option.minimum, option.maximum, point.x() - toMiddle - groove.x(),
            groove.width() - handle.width(), option.upsideDown));
    }

    QSlider* m_slider;
};

} // namespace

void sliderClick::movesHandleToPointer(QSlider* slider)
{
    slider->installEventFilter(new HandleMover(slider));
}
