#pragma once

#include "widgets.h"

namespace returnKey {

inline void pressesFocused(const QList<QPushButton*>& /*buttons*/) {}

} // namespace returnKey
