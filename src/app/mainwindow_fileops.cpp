#include "app/mainwindow.h"

#include "fileops/deletedialog.h"
#include "results/duplicaterows.h"
#include "ui_deletedialog.h"

namespace {

/** What differs between the three modes of the file operation dialog. */
struct DialogMode
{
    QString title;
    QString instruction;
    /** What follows the number of files, in the singular form for one of them. */
    QString countEnding;
};

const QString kDelete = QStringLiteral("delete");
const QString kMove = QStringLiteral("move");
const QString kCopy = QStringLiteral("copy");

DialogMode modeOf(const QString& operation)
{
    if (operation == kDelete) {
        return {QStringLiteral("Delete Duplicates"), QStringLiteral("Select files to delete:"),
                QStringLiteral(" marked for deletion")};
    }
    if (operation == kMove) {
        return {QStringLiteral("Move Duplicates"), QStringLiteral("Select files to move:"),
                QStringLiteral(" marked for move")};
    }
    return {QStringLiteral("Copy Duplicates"), QStringLiteral("Select files to copy:"),
            QStringLiteral(" marked for copy")};
}

void applyMode(deleteDialog& dialog, const QString& operation, const DialogMode& mode)
{
    dialog.operation = operation;
    dialog.setWindowTitle(mode.title);
    dialog.ui->deleteLabel->setText(mode.instruction);
    dialog.ui->deleteButton->setVisible(operation == kDelete);
    dialog.ui->dirSelector->setVisible(operation != kDelete);
    dialog.ui->moveButton->setVisible(operation == kMove);
    dialog.ui->copyButton->setVisible(operation == kCopy);
}

QString initialCountText(int count, const DialogMode& mode)
{
    // Unlike the dialog's own label, this one has a singular.
    return QString::number(count) + QStringLiteral(" file") +
           (count == 1 ? QString() : QStringLiteral("s")) + mode.countEnding;
}

} // namespace

void MainWindow::on_deleteFilesButtonMainwindow_clicked()
{
    openDeleteDialog(kDelete);
}

void MainWindow::on_moveFilesButtonMainwindow_clicked()
{
    openDeleteDialog(kMove);
}

void MainWindow::on_copyFilesButtonMainwindow_clicked()
{
    openDeleteDialog(kCopy);
}

void MainWindow::deleteDialogFinished(int /*result*/)
{
    discardDeleteDialog();
}

void MainWindow::openDeleteDialog(const QString& operation)
{
    if (duplicates.isEmpty()) {
        return;
    }
    if (deleteDialogOpen) {
        if (activeDeleteDialog->operation == operation) {
            activeDeleteDialog->activateWindow();
            return;
        }
        // A dialog of another mode is replaced, even while its operation runs.
        discardDeleteDialog();
    }

    // No file may be held open by the preview while it is deleted or moved.
    on_stopButton_clicked();
    player->setSource(QUrl());

    const DialogMode mode = modeOf(operation);
    activeDeleteDialog = new deleteDialog(nullptr);
    deleteDialogOpen = true;
    applyMode(*activeDeleteDialog, operation, mode);
    const int marked = activeDeleteDialog->addRows(results::duplicateRows(duplicates));
    activeDeleteDialog->ui->deleteCountLabel->setText(initialCountText(marked, mode));
    activeDeleteDialog->show();
    connect(activeDeleteDialog, &QDialog::finished, this, &MainWindow::deleteDialogFinished);
}

void MainWindow::discardDeleteDialog()
{
    if (activeDeleteDialog != nullptr) {
        activeDeleteDialog->deleteLater();
        deleteDialogOpen = false;
        activeDeleteDialog = nullptr;
    }
}
