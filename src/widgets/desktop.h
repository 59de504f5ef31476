#pragma once

#include <QString>
#include <QStringList>

/** What the program hands over to the user's desktop. Thread: GUI thread only. */
namespace desktop {

/** Puts \a paths into the clipboard as text, a line each. */
void copyPaths(const QStringList& paths);

/**
 * Shows \a path selected in the desktop's file manager, where one answers on the session bus; opens
 * its folder otherwise. Returns before either has happened. Failures are not reported.
 */
void showFile(const QString& path);

} // namespace desktop
