#include "app/mainwindow.h"

#include "app/folderdrop.h"
#include "ui_mainwindow.h"

#include <QFileDialog>
#include <QShortcut>

void MainWindow::on_addFolderButtonGroupA_clicked()
{
    addFolder(ui->folderListGroupA);
}

void MainWindow::on_removeFolderButtonGroupA_clicked()
{
    removeCurrentFolder(ui->folderListGroupA);
}

void MainWindow::on_addFolderButtonGroupB_clicked()
{
    addFolder(ui->folderListGroupB);
}

void MainWindow::on_removeFolderButtonGroupB_clicked()
{
    removeCurrentFolder(ui->folderListGroupB);
}

void MainWindow::on_comparisonModeSelector_currentIndexChanged(int index)
{
    const bool betweenGroups = index == static_cast<int>(ComparisonMode::BetweenGroups);
    ui->folderListParentB->setVisible(betweenGroups);
    ui->label_A->setVisible(betweenGroups);
    newComparison();
}

void MainWindow::newComparison()
{
    resetAll();
    ui->folderListGroupA->clear();
    ui->folderListGroupB->clear();
    ui->treeWidget->clear();
    ui->duplicateFoundLabel->hide();
}

void MainWindow::setUpGroups()
{
    for (QListWidget* list : {ui->folderListGroupA, ui->folderListGroupB}) {
        folderDrop::accepts(list, [list](const QStringList& folders) { list->addItems(folders); });
        auto* shortcut = new QShortcut(Qt::Key_Delete, list);
        shortcut->setContext(Qt::WidgetShortcut);
        shortcut->setAutoRepeat(false); // a held key would empty the list
        connect(shortcut, &QShortcut::activated, list, [list] { removeCurrentFolder(list); });
    }
}

ComparisonMode MainWindow::comparisonMode() const
{
    return ui->comparisonModeSelector->currentIndex() ==
                   static_cast<int>(ComparisonMode::BetweenGroups)
               ? ComparisonMode::BetweenGroups
               : ComparisonMode::WithinGroup;
}

void MainWindow::addFolder(QListWidget* list)
{
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Add folder"), QString(),
                                                             QFileDialog::ShowDirsOnly |
                                                                 QFileDialog::DontResolveSymlinks);
    if (!folder.isEmpty()) {
        list->addItem(folder);
    }
}

void MainWindow::removeCurrentFolder(QListWidget* list)
{
    delete list->takeItem(list->currentRow());
}
