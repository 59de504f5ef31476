#pragma once

#include <QString>

/** The looks in which pictures are taken, whatever desktop they are taken on. */
namespace theme {

/**
 * Gives every window the style that Qt has everywhere, in light or in dark colours.
 * \a name is "light" or "dark". Errors: false for another name, and nothing is changed.
 * Requires: an application without windows yet. Thread: GUI thread only.
 */
bool apply(const QString& name);

} // namespace theme
