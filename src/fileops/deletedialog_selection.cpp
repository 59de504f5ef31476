#include "fileops/deletedialog.h"

#include "fileops/duplicateitem.h"
#include "ui_deletedialog.h"
#include "widgets/contextmenu.h"
#include "widgets/copykey.h"
#include "widgets/desktop.h"
#include "widgets/tipdelegate.h"

#include <QFileInfo>
#include <QKeyEvent>
#include <QMenu>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/** The folder that a row's file is in; pure text. */
QString folderOf(const QString& path)
{
    return QFileInfo(path).path();
}

} // namespace

void deleteDialog::setUpRows()
{
    ui->filesList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    ui->filesList->setItemDelegate(
        new TipDelegate([this](const QModelIndex& row) { return toolTipOf(row.row()); }, this));
    ui->filesList->installEventFilter(this);
    copyKey::copiesPaths(ui->filesList, [this] { return selectedPaths(); });
    contextMenu::opensOnRows(
        ui->filesList, [this](QMenu& menu, const QModelIndex& row) { fillMenu(menu, row.row()); });
}

bool deleteDialog::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != ui->filesList || event->type() != QEvent::KeyPress) {
        return QDialog::eventFilter(watched, event);
    }
    const auto* key = static_cast<QKeyEvent*>(event);
    // The list itself toggles the current row only.
    if (key->key() != Qt::Key_Space || key->modifiers() != Qt::NoModifier ||
        ui->filesList->selectedItems().size() < 2) {
        return false;
    }
    if (!key->isAutoRepeat()) {
        toggleSelected();
    }
    return true;
}

/** How similar the file is to its reference, and the name that the operation would give it. */
QString deleteDialog::toolTipOf(int row) const
{
    const QListWidgetItem* item = ui->filesList->item(row);
    QStringList lines;
    const QString reference = duplicateItem::referenceOf(item);
    const auto similarity = similarities.constFind({item->text(), reference});
    if (similarity != similarities.cend()) {
        lines.append(tr("%1 % like %2").arg(QString::number(*similarity), reference));
    }
    const QString newName = newNameOf(row);
    if (!newName.isEmpty()) {
        lines.append(tr("becomes %1").arg(newName));
    }
    return lines.join(u'\n');
}

/** Empty if the operation gives no names, or leaves this row alone. */
QString deleteDialog::newNameOf(int row) const
{
    const bool moves = operation == u"move"_s;
    const bool renames = moves || operation == u"copy"_s;
    if (!renames || row < kFirstFileRow || ui->dirLabel->text().isEmpty() ||
        ui->filesList->item(row)->checkState() != Qt::Checked) {
        return {};
    }
    int number = 0;
    for (int each = kFirstFileRow; each <= row; ++each) {
        number += ui->filesList->item(each)->checkState() == Qt::Checked ? 1 : 0;
    }
    return fileops::destinationName(ui->filesList->item(row)->text(),
                                    moves ? fileops::kMovedMarker : fileops::kCopiedMarker, number);
}

/** From top to bottom, without "All". */
QList<QListWidgetItem*> deleteDialog::selectedFiles() const
{
    QList<QListWidgetItem*> items;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        if (ui->filesList->item(row)->isSelected()) {
            items.append(ui->filesList->item(row));
        }
    }
    return items;
}

QStringList deleteDialog::selectedPaths() const
{
    QStringList paths;
    const QList<QListWidgetItem*> files = selectedFiles();
    for (const QListWidgetItem* item : files) {
        paths.append(item->text());
    }
    return paths;
}

/** A single row is ticked as by a click on its box. Among several, "All" is not meant. */
void deleteDialog::setSelectedTicked(Qt::CheckState state)
{
    const QList<QListWidgetItem*> selected = ui->filesList->selectedItems();
    if (selected.size() == 1) {
        selected.constFirst()->setCheckState(state);
        return;
    }
    setTicked(selectedFiles(), state);
    showMarkedCount();
}

/** Unticks the selected rows if all that can be ticked among others are ticked. */
void deleteDialog::toggleSelected()
{
    const QList<QListWidgetItem*> files = selectedFiles();
    const bool ticked = std::all_of(files.cbegin(), files.cend(), [](const QListWidgetItem* item) {
        return duplicateItem::isHeldBack(item) || item->checkState() == Qt::Checked;
    });
    setSelectedTicked(ticked ? Qt::Unchecked : Qt::Checked);
}

void deleteDialog::untickFolder(const QString& folder)
{
    QList<QListWidgetItem*> items;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        QListWidgetItem* item = ui->filesList->item(row);
        if (folderOf(item->text()) == folder) {
            items.append(item);
        }
    }
    setTicked(items, Qt::Unchecked);
    showMarkedCount();
}

void deleteDialog::fillMenu(QMenu& menu, int row)
{
    connect(menu.addAction(tr("Tick")), &QAction::triggered, this,
            [this] { setSelectedTicked(Qt::Checked); });
    connect(menu.addAction(tr("Untick")), &QAction::triggered, this,
            [this] { setSelectedTicked(Qt::Unchecked); });
    if (row < kFirstFileRow) {
        return;
    }
    const QString path = ui->filesList->item(row)->text();
    connect(menu.addAction(tr("Untick those in this folder")), &QAction::triggered, this,
            [this, path] { untickFolder(folderOf(path)); });
    menu.addSeparator();
    connect(menu.addAction(tr("Open folder")), &QAction::triggered, this,
            [path] { desktop::showFile(path); });
    const QStringList paths = selectedPaths();
    connect(menu.addAction(paths.size() > 1 ? tr("Copy paths") : tr("Copy path")),
            &QAction::triggered, this, [paths] { desktop::copyPaths(paths); });
}
