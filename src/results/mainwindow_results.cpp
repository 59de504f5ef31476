#include "app/mainwindow.h"

#include "app/runstatus.h"
#include "results/duplicatefilter.h"
#include "results/rowtexts.h"
#include "ui_mainwindow.h"
#include "widgets/contextmenu.h"
#include "widgets/copykey.h"
#include "widgets/desktop.h"
#include "widgets/emptylist.h"

#include <QMenu>
#include <QPersistentModelIndex>
#include <QTreeWidgetItemIterator>

namespace {

constexpr int kNameColumn = 0;

} // namespace

void MainWindow::showComparisonResults()
{
    if (duplicatesWatcher.isCanceled()) {
        return;
    }
    duplicates = results::filterForDisplay(duplicatesWatcher.future().resultAt(0));

    qsizetype duplicateCount = 0;
    const QList<QTreeWidgetItem*> rows = resultRows(duplicateCount);
    ui->duplicateFoundLabel->setText(results::duplicateCountText(duplicateCount));
    ui->duplicateFoundLabel->show();
    ui->treeWidget->insertTopLevelItems(0, rows);
    ui->treeWidget->expandAll();

    endRun();
    runStatus->finish(ui->duplicateFoundLabel->text());
}

void MainWindow::noDuplicateFilesFound()
{
    ui->duplicateFoundLabel->setText(results::duplicateCountText(0));
    ui->duplicateFoundLabel->show();
    // Not endRun(): no records were taken, and the bar's text is hidden before its value changes.
    state = QStringLiteral("idle");
    ui->progressBar->setTextVisible(false);
    ui->progressBar->setValue(0);
    runStatus->finish(ui->duplicateFoundLabel->text());
}

/** The top-level rows with their children, not yet in a view; counts the children. */
QList<QTreeWidgetItem*> MainWindow::resultRows(qsizetype& duplicateCount)
{
    QList<QTreeWidgetItem*> rows;
    rows.reserve(duplicates.size());
    for (auto entry = duplicates.cbegin(); entry != duplicates.cend(); ++entry) {
        // Owned by the tree once they are inserted.
        auto* row = new QTreeWidgetItem(results::referenceCells(entry.key(), audioInfoMap));
        for (const auto& [path, similarity] : entry.value()) {
            row->addChild(
                new QTreeWidgetItem(results::duplicateCells(path, similarity, audioInfoMap)));
            ++duplicateCount;
        }
        rows.append(row);
    }
    return rows;
}

void MainWindow::setUpResults()
{
    ui->treeWidget->setSelectionMode(QAbstractItemView::ExtendedSelection);
    emptyList::hidesScrollBar(ui->treeWidget);
    copyKey::copiesPaths(ui->treeWidget, [this] { return selectedResults(); });
    contextMenu::opensOnRows(
        ui->treeWidget, [this](QMenu& menu, const QModelIndex& row) { fillResultMenu(menu, row); });
}

void MainWindow::fillResultMenu(QMenu& menu, const QModelIndex& row)
{
    // A run that starts meanwhile takes the rows away.
    const QPersistentModelIndex played(row);
    connect(menu.addAction(tr("Play")), &QAction::triggered, this, [this, played] {
        if (played.isValid()) {
            on_treeWidget_itemDoubleClicked(ui->treeWidget->itemFromIndex(played), kNameColumn);
        }
    });
    const QString path = row.siblingAtColumn(kNameColumn).data().toString();
    connect(menu.addAction(tr("Open folder")), &QAction::triggered, this,
            [path] { desktop::showFile(path); });
    const QStringList paths = selectedResults();
    connect(menu.addAction(paths.size() > 1 ? tr("Copy paths") : tr("Copy path")),
            &QAction::triggered, this, [paths] { desktop::copyPaths(paths); });
}

/** The paths of the selected rows, from top to bottom. */
QStringList MainWindow::selectedResults() const
{
    QStringList paths;
    for (QTreeWidgetItemIterator each(ui->treeWidget, QTreeWidgetItemIterator::Selected);
         *each != nullptr; ++each) {
        paths.append((*each)->text(kNameColumn));
    }
    return paths;
}
