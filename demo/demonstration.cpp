#include "demonstration.h"

#include "windowdriver.h"

#include <QLabel>
#include <QListWidget>
#include <QSlider>
#include <QTextStream>
#include <QWidget>

namespace {

Step addFolder(QWidget* window, const QString& group, const QString& folder)
{
    return {QStringLiteral("adding a folder to Group ") + group,
            [window, group, folder] {
                driver::chooseFolderWhenAsked(folder);
                driver::click(window, QStringLiteral("addFolderButtonGroup%1").arg(group));
            },
            [window, group] {
                return window->findChild<QListWidget*>(QStringLiteral("folderListGroup") + group)
                           ->count() > 0;
            }};
}

Step takePicture(const QString& windowName, const QString& file)
{
    return {QStringLiteral("taking a picture of ") + windowName,
            [windowName, file] { driver::savePicture(driver::window(windowName), file); },
            [] { return true; }};
}

/** Opens a window of its own, takes its picture and closes it with \a closingButton. */
QList<Step> showDialog(const QString& windowName, const std::function<void()>& open,
                       const QString& closingButton, const QString& pictureFile)
{
    const auto isOpen = [windowName] { return driver::window(windowName) != nullptr; };
    return {
        {QStringLiteral("opening ") + windowName, open, isOpen},
        takePicture(windowName, pictureFile),
        {QStringLiteral("closing ") + windowName,
         [windowName, closingButton] { driver::click(driver::window(windowName), closingButton); },
         [isOpen] { return !isOpen(); }},
    };
}

void printResults(const QWidget* window)
{
    QTextStream(stdout) << driver::treeText(window, QStringLiteral("treeWidget")) << '\n'
                        << window->findChild<QLabel*>(QStringLiteral("duplicateFoundLabel"))->text()
                        << '\n';
}

} // namespace

QList<Step> demonstration::findDuplicates(QWidget* window, const QString& folderA,
                                          const QString& folderB, const QDir& pictures)
{
    return {
        {QStringLiteral("opening the window"), [window] { window->show(); },
         [window] { return window->isVisible(); }},
        addFolder(window, QStringLiteral("A"), folderA),
        addFolder(window, QStringLiteral("B"), folderB),
        {QStringLiteral("finding the duplicates"),
         [window] { driver::click(window, QStringLiteral("compareButton")); },
         [window] { return driver::isShown(window, QStringLiteral("duplicateFoundLabel")); }},
        {QStringLiteral("printing the results"), [window] { printResults(window); },
         [] { return true; }},
        takePicture(window->objectName(), pictures.filePath(QStringLiteral("main-window.png"))),
    };
}

QList<Step> demonstration::playDuplicate(QWidget* window, const QDir& pictures)
{
    const auto* position = window->findChild<QSlider*>(QStringLiteral("audioSlider"));
    const auto* stopButton = window->findChild<QWidget*>(QStringLiteral("stopButton"));
    return {
        {QStringLiteral("playing a duplicate"),
         [window] { driver::doubleClickDuplicate(window, QStringLiteral("treeWidget"), 0); },
         // A second of it, so that the picture shows it under way.
         [position] { return position->value() >= 1000; }},
        takePicture(window->objectName(), pictures.filePath(QStringLiteral("playing.png"))),
        {QStringLiteral("stopping it"),
         [window] { driver::click(window, QStringLiteral("stopButton")); },
         [stopButton] { return !stopButton->isEnabled(); }},
    };
}

QList<Step> demonstration::showFileOperations(QWidget* window, const QDir& pictures)
{
    const QString dialog = QStringLiteral("deleteDialog");
    QList<Step> steps;
    for (const QString& operation :
         {QStringLiteral("delete"), QStringLiteral("move"), QStringLiteral("copy")}) {
        const QString button = operation + QStringLiteral("FilesButtonMainwindow");
        steps += showDialog(
            dialog, [window, button] { driver::click(window, button); },
            QStringLiteral("cancelButton"),
            pictures.filePath(operation + QStringLiteral("-dialog.png")));
    }
    return steps;
}

QList<Step> demonstration::showInformation(QWidget* window, const QDir& pictures)
{
    const auto choosing = [window](const QString& action) {
        return [window, action] { driver::choose(window, action); };
    };
    return showDialog(QStringLiteral("SettingsDialog"), choosing(QStringLiteral("actionSettings")),
                      QStringLiteral("cancelButton"),
                      pictures.filePath(QStringLiteral("settings-dialog.png"))) +
           showDialog(QStringLiteral("AboutDialog"), choosing(QStringLiteral("actionAbout")),
                      QStringLiteral("okButton"),
                      pictures.filePath(QStringLiteral("about-dialog.png")));
}
