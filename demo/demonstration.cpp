#include "demonstration.h"

#include "driver/windowdriver.h"
#include "treetext.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QSlider>
#include <QTextStream>
#include <QTreeWidget>

namespace {

/** Ends the program if what \a widget is for was not \a done. */
void require(bool done, const QString& widget)
{
    if (!done) {
        qFatal("%s cannot be used", qPrintable(widget));
    }
}

void press(const QWidget* window, const QString& button)
{
    require(driver::click(window, button), button);
}

Step addFolder(QWidget* window, char group, const QString& folder)
{
    const QString title = QStringLiteral("adding a folder to Group ") + QLatin1Char(group);
    return {title, [=] { require(driver::addFolder(window, group, folder), title); },
            [window, group] { return !driver::folders(window, group).isEmpty(); }};
}

/** Double-clicks the first duplicate of the first reference. */
void playFirstDuplicate(const QWidget* window)
{
    auto* tree = driver::find<QTreeWidget>(window, QStringLiteral("treeWidget"));
    const QTreeWidgetItem* reference = tree->topLevelItem(0);
    QTreeWidgetItem* duplicate = reference == nullptr ? nullptr : reference->child(0);
    require(duplicate != nullptr, tree->objectName());
    driver::doubleClick(tree, duplicate);
}

Step takePicture(const QString& windowName, const QString& file)
{
    return {QStringLiteral("taking a picture of ") + windowName,
            [windowName, file] {
                if (!driver::window(windowName)->grab().save(file)) {
                    qFatal("%s could not be written", qPrintable(file));
                }
            },
            [] { return true; }};
}

/** Opens the context menu of some rows of the file operation dialog. */
void openRowMenu()
{
    constexpr int kFirstRow = 2;
    constexpr int kLastRow = 4;
    auto* list = driver::find<QListWidget>(driver::window(QStringLiteral("deleteDialog")),
                                           QStringLiteral("filesList"));
    require(list->count() > kLastRow, list->objectName());
    for (int row = kFirstRow; row <= kLastRow; ++row) {
        list->item(row)->setSelected(true);
    }
    const QPoint place = list->visualItemRect(list->item(kLastRow)).center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, place, list->viewport()->mapToGlobal(place));
    QCoreApplication::sendEvent(list->viewport(), &event);
}

/** Takes a picture of a window together with the menu that is open in it, and closes the menu. */
Step takePictureWithMenu(const QString& windowName, const QString& file)
{
    return {QStringLiteral("taking a picture of the menu of ") + windowName,
            [windowName, file] {
                QWidget* window = driver::window(windowName);
                QWidget* menu = QApplication::activePopupWidget();
                QPixmap picture = window->grab();
                QPainter(&picture).drawPixmap(window->mapFromGlobal(menu->pos()), menu->grab());
                if (!picture.save(file)) {
                    qFatal("%s could not be written", qPrintable(file));
                }
                menu->close();
            },
            [] { return QApplication::activePopupWidget() == nullptr; }};
}

/**
 * Opens a window of its own, takes its picture, takes the steps \a within it and closes it with
 * \a closingButton.
 */
QList<Step> showDialog(const QString& windowName, const std::function<void()>& open,
                       const QString& closingButton, const QString& pictureFile,
                       const QList<Step>& within = {})
{
    const auto isOpen = [windowName] { return driver::window(windowName) != nullptr; };
    const Step opening{QStringLiteral("opening ") + windowName, open, isOpen};
    const Step closing{
        QStringLiteral("closing ") + windowName,
        [windowName, closingButton] { press(driver::window(windowName), closingButton); },
        [isOpen] { return !isOpen(); }};
    return QList<Step>{opening, takePicture(windowName, pictureFile)} + within +
           QList<Step>{closing};
}

void printResults(const QWidget* window)
{
    QTextStream(stdout)
        << treeText(driver::find<QTreeWidget>(window, QStringLiteral("treeWidget"))) << '\n'
        << driver::find<QLabel>(window, QStringLiteral("duplicateFoundLabel"))->text() << '\n';
}

} // namespace

QList<Step> demonstration::findDuplicates(QWidget* window, const QString& folderA,
                                          const QString& folderB, const QDir& pictures)
{
    const auto* label = driver::find<QLabel>(window, QStringLiteral("duplicateFoundLabel"));
    return {
        {QStringLiteral("opening the window"), [window] { window->show(); },
         [window] { return window->isVisible(); }},
        addFolder(window, 'A', folderA),
        addFolder(window, 'B', folderB),
        {QStringLiteral("finding the duplicates"),
         [window] { press(window, QStringLiteral("compareButton")); },
         [label] { return label->isVisible(); }},
        {QStringLiteral("printing the results"), [window] { printResults(window); },
         [] { return true; }},
        takePicture(window->objectName(), pictures.filePath(QStringLiteral("main-window.png"))),
    };
}

QList<Step> demonstration::playDuplicate(QWidget* window, const QDir& pictures)
{
    const auto* position = driver::find<QSlider>(window, QStringLiteral("audioSlider"));
    const auto* stopButton = driver::find<QWidget>(window, QStringLiteral("stopButton"));
    return {
        {QStringLiteral("playing a duplicate"), [window] { playFirstDuplicate(window); },
         // A second of it, so that the picture shows it under way.
         [position] { return position->value() >= 1000; }},
        takePicture(window->objectName(), pictures.filePath(QStringLiteral("playing.png"))),
        {QStringLiteral("stopping it"), [window] { press(window, QStringLiteral("stopButton")); },
         [stopButton] { return !stopButton->isEnabled(); }},
    };
}

QList<Step> demonstration::showFileOperations(QWidget* window, const QDir& pictures)
{
    const QString dialog = QStringLiteral("deleteDialog");
    const QList<Step> menu{
        {QStringLiteral("opening the menu of the rows"), openRowMenu,
         [] { return QApplication::activePopupWidget() != nullptr; }},
        takePictureWithMenu(dialog, pictures.filePath(QStringLiteral("dialog-menu.png")))};
    QList<Step> steps;
    for (const QString& operation :
         {QStringLiteral("delete"), QStringLiteral("move"), QStringLiteral("copy")}) {
        const QString button = operation + QStringLiteral("FilesButtonMainwindow");
        steps += showDialog(
            dialog, [window, button] { press(window, button); }, QStringLiteral("cancelButton"),
            pictures.filePath(operation + QStringLiteral("-dialog.png")),
            operation == QStringLiteral("delete") ? menu : QList<Step>{});
    }
    return steps;
}

QList<Step> demonstration::showInformation(QWidget* window, const QDir& pictures)
{
    const auto choosing = [window](const QString& action) {
        return [window, action] { require(driver::choose(window, action), action); };
    };
    return showDialog(QStringLiteral("SettingsDialog"), choosing(QStringLiteral("actionSettings")),
                      QStringLiteral("cancelButton"),
                      pictures.filePath(QStringLiteral("settings-dialog.png"))) +
           showDialog(QStringLiteral("AboutDialog"), choosing(QStringLiteral("actionAbout")),
                      QStringLiteral("okButton"),
                      pictures.filePath(QStringLiteral("about-dialog.png")));
}
