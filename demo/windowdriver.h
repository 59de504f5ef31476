#pragma once

#include <QString>

class QWidget;

/**
 * What a person does with the program's windows and sees in them. Windows and widgets are found by
 * their object names; only what is visible and enabled can be pressed.
 *
 * Errors: what a person could not do ends the program with a message that names the widget.
 * Thread: GUI thread only.
 */
namespace driver {

/** The open window named \a name, or null. */
QWidget* window(const QString& name);

/** Whether the widget \a name in \a parent is there to be seen. */
bool isShown(const QWidget* parent, const QString& name);

/** Clicks the middle of the button \a name in \a parent. */
void click(QWidget* parent, const QString& name);

/** Chooses the menu entry of the action \a name. */
void choose(QWidget* parent, const QString& name);

/** Answers the folder dialog that comes up next with \a folder. */
void chooseFolderWhenAsked(const QString& folder);

/** Double-clicks row \a row below the first reference file of the tree \a name in \a parent. */
void doubleClickDuplicate(QWidget* parent, const QString& name, int row);

/**
 * The tree \a name in \a parent as text: a line of titles, then a line for each row in the order
 * shown, children indented, columns aligned.
 */
QString treeText(const QWidget* parent, const QString& name);

/** Saves what the window shows to \a file. Errors: ends the program if it cannot be written. */
void savePicture(QWidget* window, const QString& file);

} // namespace driver
