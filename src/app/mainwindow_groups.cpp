#include "app/mainwindow.h"

#include "ui_mainwindow.h"

#include <QFileDialog>

#include <exception>

namespace {

/** Waits for a run that is given up: what ended it, such as a lack of memory, concerns nobody. */
template <typename Result> void waitForAbandoned(QFuture<Result>& run)
{
    try {
        run.waitForFinished();
    } catch (const std::exception&) {
        qWarning("the last search ended early");
    }
}

} // namespace

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
    ui->progressBar->setValue(0);
    ui->duplicateFoundLabel->hide();
    state = QStringLiteral("idle");
    ui->progressBar->setTextVisible(false);
}

void MainWindow::resetAll()
{
    // Workers read what is emptied next, so nothing may run any more.
    stopRun();

    duplicates.clear();
    audioInfoMap.clear();
    fingerprintsFirst.clear();
    fingerprintsSecond.clear();

    ui->progressBar->setValue(0);
    ui->progressBar->setTextVisible(false);
    ui->statusbar->clearMessage();

    state = QStringLiteral("idle");

    filesWatcher.cancel();
    duplicatesWatcher.cancel();
    fingerprintWatcher1.cancel();
    fingerprintWatcher2.cancel();
    filesFuture.cancel();
    fingerprintFuture1.cancel();
    fingerprintFuture2.cancel();
    duplicatesFuture.cancel();
    waitForAbandoned(filesFuture);
    waitForAbandoned(fingerprintFuture1);
    waitForAbandoned(fingerprintFuture2);
    waitForAbandoned(duplicatesFuture);

    resetPlayer();

    discardDeleteDialog();
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

/**
 * Ends whatever runs. The stop flag ends the item in progress, cancelling keeps the framework from
 * starting another, and only an idle pool makes sure that nothing is posted afterwards; what was
 * posted before carries the number of a run that is over.
 */
void MainWindow::stopRun()
{
    ++runNumber;
    runStop.request_stop();
    filesFuture.cancel();
    fingerprintFuture1.cancel();
    fingerprintFuture2.cancel();
    pairsFuture.cancel();
    duplicatesFuture.cancel();
    threadPool.waitForDone();
    pairsFuture = {};
    runStop = std::stop_source();
}

void MainWindow::resetPlayer()
{
    playbackState = QMediaPlayer::StoppedState;
    startsLeft = 0;
    player->stop();
    ui->stopButton->setEnabled(false);
    showPlayIcon(playIcon);
    ui->audioSlider->setValue(0);
    player->setSource(QUrl());
    ui->audioDurationLabel->hide();
}
