#pragma once

#include "app/mainwindow.h"
#include "driver/windowdriver.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/**
 * The real window for one test, with settings of its own; operated by driver/windowdriver.h.
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

    /** The widget (or other object) \a name. Errors: ends the program if there is none. */
    template <typename T> T* find(const char* name) const
    {
        return driver::find<T>(m_window.get(), QString::fromLatin1(name));
    }

    // As in driver/windowdriver.h, for this window.
    bool click(const char* buttonName) const;
    /** Errors: ends the program where a person could not choose it. */
    void choose(const char* actionName) const;
    void setMode(int index) const;
    bool addFolder(char group, const QString& folder) const;
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
