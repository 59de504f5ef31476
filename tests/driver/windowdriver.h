#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class QTreeWidget;
class QTreeWidgetItem;
class QWidget;

/**
 * Operates the program's windows as a person does, for the demonstration, the benchmarks and the
 * tests. Windows and widgets are found by their object names. A group is 'A' or 'B'.
 *
 * Errors: a function that returns bool returns false where a person could not act, because the
 * widget is hidden or disabled. An object that does not exist ends the program with a message.
 * Thread: GUI thread only.
 */
namespace driver {

/** Ends the program with a message that names what is missing. */
[[noreturn]] void failWithout(const QString& name);

/** The object \a name in \a parent. */
template <typename T> T* find(const QObject* parent, const QString& name)
{
    T* object = parent->findChild<T*>(name);
    if (object == nullptr) {
        failWithout(name);
    }
    return object;
}

/** The open window \a name, or null. */
QWidget* window(const QString& name);

/** Clicks the middle of the button \a name in \a parent. */
[[nodiscard]] bool click(const QWidget* parent, const QString& name);

/** Double-clicks a cell. */
void doubleClick(QTreeWidget* tree, QTreeWidgetItem* row, int column = 0);

/** Chooses the menu entry of the action \a name. */
[[nodiscard]] bool choose(const QWidget* window, const QString& name);

/** Chooses the mode \a index: 0 "Between groups", 1 "Within group". */
void setMode(const QWidget* window, int index);

/**
 * Presses a group's add button and chooses \a folder in the dialog; an empty folder cancels it.
 * Errors: false also if no dialog appeared.
 */
[[nodiscard]] bool addFolder(const QWidget* window, char group, const QString& folder);

/** Adds \a folder to a group's list without the dialog. */
void listFolder(const QWidget* window, char group, const QString& folder);

/** The folders of a group, from top to bottom. */
QStringList folders(const QWidget* window, char group);

} // namespace driver
