#pragma once

class QSlider;

namespace sliderClick {

/**
 * Lets a press of the left button beside the handle of \a slider bring the handle to the pointer,
 * where a press moves it by a page otherwise, and hold it there, so that it can be drawn on. The
 * slider reports it as an action QAbstractSlider::SliderMove.
 * Thread: GUI thread only.
 */
void movesHandleToPointer(QSlider* slider);

} // namespace sliderClick
