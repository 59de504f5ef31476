#include "programwindows.h"

#include <QApplication>
#include <QDialog>
#include <QTest>

namespace {

struct Way
{
    const char* name;       ///< as open() takes it
    const char* objectName; ///< of the window
    const char* opener;     ///< the action or button that brings it up
    bool isButton;
};

constexpr Way ways[] = {
    {"main", "MainWindow", nullptr, false},
    {"settings", "SettingsDialog", "actionSettings", false},
    {"about", "AboutDialog", "actionAbout", false},
    {"delete", "deleteDialog", "deleteFilesButtonMainwindow", true},
    {"move", "deleteDialog", "moveFilesButtonMainwindow", true},
    {"copy", "deleteDialog", "copyFilesButtonMainwindow", true},
};

const Way& wayTo(const QString& name)
{
    for (const Way& way : ways) {
        if (name == QLatin1String(way.name)) {
            return way;
        }
    }
    qFatal("no window %s", qPrintable(name));
}

} // namespace

QStringList ProgramWindows::names()
{
    QStringList result;
    for (const Way& way : ways) {
        result.append(QLatin1String(way.name));
    }
    return result;
}

void ProgramWindows::addRows()
{
    QTest::addColumn<QString>("window");
    for (const Way& way : ways) {
        QTest::newRow(way.name) << QString::fromLatin1(way.name);
    }
}

ProgramWindows::ProgramWindows()
{
    const QString tune = m_music.makeTune(QStringLiteral("tune.wav"), {.seconds = 10});
    m_files = {tune, m_music.write(QStringLiteral("tune again.wav"), testmedia::contentOf(tune))};
}

ProgramWindows::~ProgramWindows()
{
    closeDialogs();
}

void ProgramWindows::closeDialogs()
{
    // They have no parent, and are released by the window that opened them, as long as it lives;
    // what is released is deleted by the loop only.
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (auto* dialog = qobject_cast<QDialog*>(window)) {
            dialog->reject();
        }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool ProgramWindows::findTheDuplicate()
{
    m_fixture.open();
    m_fixture.setMode(1);
    m_fixture.listFolder('A', m_music.path());
    return m_fixture.findDuplicates() &&
           m_fixture.countText() == QStringLiteral("1 duplicate audio file found.");
}

QWidget* ProgramWindows::open(const QString& name)
{
    const Way& way = wayTo(name);
    closeDialogs();
    if (!findTheDuplicate()) {
        return nullptr;
    }
    if (way.isButton) {
        if (!m_fixture.click(way.opener)) {
            return nullptr;
        }
    } else if (way.opener != nullptr) {
        m_fixture.choose(way.opener);
    }
    QWidget* window = shown(name);
    if (window == nullptr) {
        return nullptr;
    }
    window->activateWindow();
    return QTest::qWaitForWindowActive(window) ? window : nullptr;
}

QWidget* ProgramWindows::shown(const QString& name)
{
    return driver::window(QString::fromLatin1(wayTo(name).objectName));
}
