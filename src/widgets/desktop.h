#pragma once

#include <QStringList>

/** What the program hands over to the user's desktop. Thread: GUI thread only. */
namespace desktop {

/** Puts \a paths into the clipboard as text, a line each. */
void copyPaths(const QStringList& paths);

} // namespace desktop
