#pragma once

#include <QList>

class QPushButton;

namespace returnKey {

/**
 * Lets Return and Enter press each of \a buttons while it has the focus, as the space bar does:
 * when the key is let go, and not again for its repetitions. So what a button opens is not answered
 * unseen by the rest of a held key, as long as the platform tells repetitions from presses. No
 * button becomes a default one, which Return would press from anywhere.
 * Thread: GUI thread only.
 */
void pressesFocused(const QList<QPushButton*>& buttons);

} // namespace returnKey
