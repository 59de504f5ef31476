#pragma once

#include "app/mainwindow.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

class QAbstractButton;
class QTreeWidget;

/**
 * The real window for one test, with settings of its own, and what a person does with it.
 * Widgets are found by their object names and must be visible and enabled to be clicked.
 * Thread: GUI thread only.
 */
class WindowFixture
{
public:
    /** How long what takes milliseconds may take: a guard against hanging, no measure of speed. */
    static constexpr int kHangGuardMs = 60000;

    /** Points the settings into a temporary folder; the window is not built yet. */
    WindowFixture();
    ~WindowFixture();

    /** Builds and shows the window. */
    void open();
    /** Destroys the window, if there is one. */
    void destroy();
    MainWindow& window()
    {
        return *m_window;
    }

    /** The widget (or other object) named \a name; fails the test by a crash-free fatal if absent.
     */
    template <typename T> T* find(const char* name) const
    {
        T* object = m_window->findChild<T*>(QString::fromLatin1(name));
        if (object == nullptr) {
            qFatal("no object named %s", name);
        }
        return object;
    }

    /** Clicks a button with the mouse. Returns false where a person could not. */
    bool click(const char* buttonName) const;
    /** Triggers an action of the menus. */
    void choose(const char* actionName) const;
    /** Chooses a mode: 0 "Between groups", 1 "Within group". */
    void setMode(int index) const;

    /**
     * Presses a group's add button and chooses \a folder in the file dialog; an empty folder stands
     * for cancelling it. \a group is 'A' or 'B'. Returns false if no dialog appeared.
     */
    bool addFolder(char group, const QString& folder) const;
    /** Adds a folder to a group's list without the dialog. */
    void listFolder(char group, const QString& folder) const;
    QStringList folders(char group) const;

    /** The pool that the window runs its stages on. */
    QThreadPool* pool() const;

    /** Waits until the count label is shown. False if that takes longer than a minute. */
    bool waitForResult() const;
    /** Presses "Find duplicates" and waits for the result. */
    bool findDuplicates() const;

    /** The text of the count label, or nothing while it is hidden. */
    QString countText() const;
    /** The rows as indented text, cells separated by " | ", without \a prefix in the paths. */
    QString treeText(const QString& prefix = {}) const;
    /** Each pair of reference and duplicate as "first = second", the two and the pairs sorted. */
    QStringList unorderedPairs(const QString& prefix = {}) const;

private:
    QTemporaryDir m_settings;
    std::unique_ptr<MainWindow> m_window;
};
