#pragma once

#include "support/media.h"
#include "support/windowfixture.h"

#include <QStringList>

#include <memory>

/**
 * Every window of the program, opened as a person opens it, with a duplicate that was found so that
 * each of them has something to show. Thread: GUI thread only.
 */
class ProgramWindows
{
public:
    /** The names that open() takes: "main", "settings", "about", "delete", "move" and "copy". */
    static QStringList names();
    /** Adds a row to the test's table for each of them, in the column "window". */
    static void addRows();

    ProgramWindows();
    ~ProgramWindows();

    /**
     * Opens the main window anew, finds the duplicate, and opens the window \a name over it. It is
     * active, and belongs to the program. Errors: null if that did not come about.
     */
    QWidget* open(const QString& name);
    /** The window that open() brought up, or null once it is closed. */
    static QWidget* shown(const QString& name);

    WindowFixture& fixture()
    {
        return m_fixture;
    }
    /** The paths of the file and of its copy. */
    const QStringList& files() const
    {
        return m_files;
    }

private:
    static void closeDialogs();
    bool findTheDuplicate();

    testmedia::MediaFolder m_music;
    QStringList m_files;
    WindowFixture m_fixture;
};
