#pragma once

class QSlider;

namespace sliderClick {

/**
 * Makes a press of the left button beside the handle of \a slider move the handle to the pointer,
 * instead of by a page, and hold it there, so that it can be dragged on. The slider reports the
 * action QAbstractSlider::SliderMove.
 * Thread: GUI thread only.
 */
void movesHandleToPointer(QSlider* slider);

} // namespace sliderClick
