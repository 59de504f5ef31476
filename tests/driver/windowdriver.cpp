#include "driver/windowdriver.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

void sendMouse(QWidget* target, QEvent::Type type, QPoint position)
{
    const Qt::MouseButtons held =
        type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, position, target->mapToGlobal(position), Qt::LeftButton, held,
                      Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

bool clickButton(QAbstractButton* button)
{
    if (!button->isVisible() || !button->isEnabled()) {
        return false;
    }
    const QPoint middle = button->rect().center();
    sendMouse(button, QEvent::MouseButtonPress, middle);
    sendMouse(button, QEvent::MouseButtonRelease, middle);
    return true;
}

/** Answers the folder dialog that opens while it exists. */
class FolderDialogAnswer
{
public:
    explicit FolderDialogAnswer(QString folder)
        : m_folder(std::move(folder))
    {
        // The dialog runs an event loop inside the press that opens it, hence the timer.
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { answer(); });
        m_timer.start(std::chrono::milliseconds(5));
    }
    bool isGiven() const
    {
        return m_isGiven;
    }

private:
    void answer()
    {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            return;
        }
        m_timer.stop();
        if (m_folder.isEmpty()) {
            dialog->reject();
            m_isGiven = true;
            return;
        }
        driver::find<QLineEdit>(dialog, QStringLiteral("fileNameEdit"))->setText(m_folder);
        m_isGiven =
            clickButton(dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open));
    }

    QString m_folder;
    QTimer m_timer;
    bool m_isGiven = false;
};

QListWidget* folderList(const QWidget* window, char group)
{
    return driver::find<QListWidget>(window,
                                     QStringLiteral("folderListGroup") + QLatin1Char(group));
}

} // namespace

void driver::failWithout(const QString& name)
{
    qFatal("no object named %s", qPrintable(name));
}

QWidget* driver::window(const QString& name)
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    const auto found =
        std::find_if(windows.cbegin(), windows.cend(), [&name](const QWidget* candidate) {
            return candidate->isVisible() && candidate->objectName() == name;
        });
    return found == windows.cend() ? nullptr : *found;
}

bool driver::click(const QWidget* parent, const QString& name)
{
    return clickButton(find<QAbstractButton>(parent, name));
}

void driver::doubleClick(QTreeWidget* tree, QTreeWidgetItem* row, int column)
{
    tree->scrollToItem(row);
    const QRect cell = tree->visualRect(tree->indexFromItem(row, column));
    // Near the cell's left edge, which stays in view however long the path in it is.
    const QPoint place(cell.left() + 5, cell.center().y());
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease,
                                    QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease}) {
        sendMouse(tree->viewport(), type, place);
    }
}

bool driver::choose(const QWidget* window, const QString& name)
{
    auto* action = find<QAction>(window, name);
    if (!action->isVisible() || !action->isEnabled()) {
        return false;
    }
    action->trigger();
    return true;
}

void driver::setMode(const QWidget* window, int index)
{
    find<QComboBox>(window, QStringLiteral("comparisonModeSelector"))->setCurrentIndex(index);
}

bool driver::addFolder(const QWidget* window, char group, const QString& folder)
{
    const FolderDialogAnswer answer(folder);
    return click(window, QStringLiteral("addFolderButtonGroup") + QLatin1Char(group)) &&
           answer.isGiven();
}

void driver::listFolder(const QWidget* window, char group, const QString& folder)
{
    folderList(window, group)->addItem(folder);
}

QStringList driver::folders(const QWidget* window, char group)
{
    QStringList texts;
    const QListWidget* list = folderList(window, group);
    for (int row = 0; row < list->count(); ++row) {
        texts.append(list->item(row)->text());
    }
    return texts;
}
