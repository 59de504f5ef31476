#pragma once

#include <QList>

class QPushButton;

namespace returnKey {

/**
 * Makes Return and Enter press each of \a buttons while it has the focus, as the space bar does:
 * it is clicked when the key is released, and not again for repetitions of the key. So a held key
 * does not answer the dialog that a button opens, as long as the platform marks repetitions. No
 * button becomes a default one, which Return would press from anywhere.
 * Thread: GUI thread only.
 */
void pressesFocused(const QList<QPushButton*>& buttons);

} // namespace returnKey
