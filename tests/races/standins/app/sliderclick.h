#pragma once

#include "widgets.h"

namespace sliderClick {

inline void movesHandleToPointer(QSlider* /*slider*/) {}

} // namespace sliderClick
