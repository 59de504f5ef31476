#include "app/mainwindow.h"

#include "settings/settingsstore.h"
#include "ui_mainwindow.h"

#include <QThread>
#include <QtConcurrent/QtConcurrentMap>

namespace {

QStringList foldersOf(const QListWidget* list)
{
    QStringList folders;
    for (int row = 0; row < list->count(); ++row) {
        folders.append(list->item(row)->text());
    }
    return folders;
}

} // namespace

void MainWindow::on_compareButton_clicked()
{
    resetAll();
    ui->treeWidget->clear();
    ui->progressBar->setValue(0);
    ui->duplicateFoundLabel->hide();
    ui->progressBar->setTextVisible(false);

    threadPool.setMaxThreadCount(settings::multicoreEnabled() ? QThread::idealThreadCount() : 1);

    const bool betweenGroups = comparisonMode() == ComparisonMode::BetweenGroups;
    if (ui->folderListGroupA->count() == 0 ||
        (betweenGroups && ui->folderListGroupB->count() == 0)) {
        return;
    }
    // A press during a run has just stopped that run above, so this never holds: it starts anew.
    if (state != QLatin1String("idle")) {
        return;
    }

    state = QStringLiteral("comparing");
    ui->duplicateFoundLabel->hide();
    ui->treeWidget->clear();
    ui->progressBar->setValue(0);
    ui->progressBar->setTextVisible(true);

    const QList<QStringList> groups{foldersOf(ui->folderListGroupA),
                                    betweenGroups ? foldersOf(ui->folderListGroupB)
                                                  : QStringList()};
    filesFuture =
        QtConcurrent::mappedReduced(&threadPool, groups, &MainWindow::find_audio_files_dir,
                                    &MainWindow::collectTmp, QtConcurrent::OrderedReduce);
    filesWatcher.setFuture(filesFuture);
}
