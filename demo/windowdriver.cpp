#include "windowdriver.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>

#include <algorithm>
#include <chrono>

namespace {

constexpr int indentPerLevel = 4;

template <typename T> T* find(const QWidget* parent, const QString& name)
{
    T* object = parent->findChild<T*>(name);
    if (object == nullptr) {
        qFatal("there is no %s", qPrintable(name));
    }
    return object;
}

void sendMouse(QWidget* target, QEvent::Type type, QPoint position)
{
    const Qt::MouseButtons held =
        type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, position, target->mapToGlobal(position), Qt::LeftButton, held,
                      Qt::NoModifier);
    QApplication::sendEvent(target, &event);
}

void clickButton(QAbstractButton* button)
{
    if (!button->isVisible() || !button->isEnabled()) {
        qFatal("the button %s \"%s\" cannot be pressed", qPrintable(button->objectName()),
               qPrintable(button->text()));
    }
    const QPoint middle = button->rect().center();
    sendMouse(button, QEvent::MouseButtonPress, middle);
    sendMouse(button, QEvent::MouseButtonRelease, middle);
}

int depth(const QTreeWidgetItem* item)
{
    int levels = 0;
    for (const QTreeWidgetItem* above = item->parent(); above != nullptr; above = above->parent()) {
        ++levels;
    }
    return levels;
}

QStringList cells(const QTreeWidgetItem* item)
{
    QStringList texts;
    for (int column = 0; column < item->columnCount(); ++column) {
        texts.append(item->text(column));
    }
    texts.first().prepend(QString(qsizetype{depth(item)} * indentPerLevel, u' '));
    return texts;
}

QString alignedLines(const QList<QStringList>& rows)
{
    QList<qsizetype> widths;
    for (const QStringList& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths.at(column), row.at(column).size());
        }
    }
    QString text;
    for (const QStringList& row : rows) {
        QString line;
        for (qsizetype column = 0; column < row.size(); ++column) {
            line += row.at(column).leftJustified(widths.at(column) + 2);
        }
        while (line.endsWith(u' ')) {
            line.chop(1);
        }
        text += line + u'\n';
    }
    return text;
}

} // namespace

QWidget* driver::window(const QString& name)
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    const auto found =
        std::find_if(windows.cbegin(), windows.cend(), [&name](const QWidget* candidate) {
            return candidate->isVisible() && candidate->objectName() == name;
        });
    return found == windows.cend() ? nullptr : *found;
}

bool driver::isShown(const QWidget* parent, const QString& name)
{
    return find<QWidget>(parent, name)->isVisible();
}

void driver::click(QWidget* parent, const QString& name)
{
    clickButton(find<QAbstractButton>(parent, name));
}

void driver::choose(QWidget* parent, const QString& name)
{
    auto* action = find<QAction>(parent, name);
    if (!action->isVisible() || !action->isEnabled()) {
        qFatal("%s cannot be chosen", qPrintable(name));
    }
    action->trigger();
}

void driver::chooseFolderWhenAsked(const QString& folder)
{
    // The dialog runs an event loop of its own inside the press that opens it, hence the timer.
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, folder] {
        auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr) {
            return;
        }
        timer->deleteLater();
        timer->stop();
        find<QLineEdit>(dialog, QStringLiteral("fileNameEdit"))->setText(folder);
        clickButton(dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open));
    });
    timer->start(std::chrono::milliseconds(20));
}

void driver::doubleClickDuplicate(QWidget* parent, const QString& name, int row)
{
    auto* tree = find<QTreeWidget>(parent, name);
    const QTreeWidgetItem* reference = tree->topLevelItem(0);
    const QTreeWidgetItem* item = reference == nullptr ? nullptr : reference->child(row);
    if (item == nullptr) {
        qFatal("%s has no such row", qPrintable(name));
    }
    tree->scrollToItem(item);
    const QPoint place = tree->visualItemRect(item).center();
    QWidget* viewport = tree->viewport();
    sendMouse(viewport, QEvent::MouseButtonPress, place);
    sendMouse(viewport, QEvent::MouseButtonRelease, place);
    sendMouse(viewport, QEvent::MouseButtonDblClick, place);
    sendMouse(viewport, QEvent::MouseButtonRelease, place);
}

QString driver::treeText(const QWidget* parent, const QString& name)
{
    auto* tree = find<QTreeWidget>(parent, name);
    QList<QStringList> rows{cells(tree->headerItem())};
    for (QTreeWidgetItemIterator item(tree); *item != nullptr; ++item) {
        rows.append(cells(*item));
    }
    return alignedLines(rows);
}

void driver::savePicture(QWidget* window, const QString& file)
{
    if (!window->grab().save(file)) {
        qFatal("%s could not be written", qPrintable(file));
    }
}
