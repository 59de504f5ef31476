#include "app/mainwindow.h"

#include "app/runstatus.h"
#include "settings/settingsstore.h"
#include "ui_mainwindow.h"
#include "widgets/whenfinished.h"

#include <QThread>
#include <QtConcurrent/QtConcurrentMap>

#include <exception>

namespace {

QStringList foldersOf(const QListWidget* list)
{
    QStringList folders;
    for (int row = 0; row < list->count(); ++row) {
        folders.append(list->item(row)->text());
    }
    return folders;
}

/** Waits for a run that is given up; an exception that ended it, such as of memory, is dropped. */
template <typename Result> void waitForAbandoned(QFuture<Result>& run)
{
    try {
        run.waitForFinished();
    } catch (const std::exception&) {
        qWarning("the last search ended early");
    }
}

} // namespace

void MainWindow::on_compareButton_clicked()
{
    resetAll();
    ui->treeWidget->clear();
    ui->duplicateFoundLabel->hide();

    threadPool.setMaxThreadCount(settings::multicoreEnabled() ? QThread::idealThreadCount() : 1);

    const bool betweenGroups = comparisonMode() == ComparisonMode::BetweenGroups;
    if (ui->folderListGroupA->count() == 0 ||
        (betweenGroups && ui->folderListGroupB->count() == 0)) {
        return;
    }
    // This never holds: a press during a run has just stopped that run, and starts another.
    if (state != QLatin1String("idle")) {
        return;
    }

    state = QStringLiteral("comparing");
    ui->progressBar->setTextVisible(true);
    runStatus->listing();
    runStatus->warnOfThreshold(settings::similarityThreshold());

    const QList<QStringList> groups{foldersOf(ui->folderListGroupA),
                                    betweenGroups ? foldersOf(ui->folderListGroupB)
                                                  : QStringList()};
    filesFuture =
        QtConcurrent::mappedReduced(&threadPool, groups, &MainWindow::find_audio_files_dir,
                                    &MainWindow::collectTmp, QtConcurrent::OrderedReduce);
    startWatching(filesWatcher, filesFuture);
}

void MainWindow::resetAll()
{
    // The workers read the record lists, so the pool stops before these are emptied.
    stopStages();
    duplicates.clear();
    endRun();
    ui->statusbar->clearMessage();
    runStatus->clear();
    resetPlayer();
    discardDeleteDialog();
}

/**
 * The stop flag ends the items in progress, and cancelling keeps the framework from starting
 * others. Once the pool is idle, no stage posts anything more; what was posted before has the
 * number of a run that is over.
 */
void MainWindow::stopStages()
{
    ++runNumber;
    runStop.request_stop();
    filesWatcher.cancel();
    duplicatesWatcher.cancel();
    fingerprintWatcher1.cancel();
    fingerprintWatcher2.cancel();
    filesFuture.cancel();
    fingerprintFuture1.cancel();
    fingerprintFuture2.cancel();
    duplicatesFuture.cancel();
    pairsFuture.cancel();
    threadPool.waitForDone();
    waitForAbandoned(filesFuture);
    waitForAbandoned(fingerprintFuture1);
    waitForAbandoned(fingerprintFuture2);
    waitForAbandoned(duplicatesFuture);
    pairsFuture = {};
    runStop = std::stop_source();
}

/** Empties what a run shares with its workers, and shows that none runs. */
void MainWindow::endRun()
{
    audioInfoMap.clear();
    fingerprintsFirst.clear();
    fingerprintsSecond.clear();
    ui->progressBar->setValue(0);
    ui->progressBar->setTextVisible(false);
    state = QStringLiteral("idle");
}
