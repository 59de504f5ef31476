#include "app/mainwindow.h"

#include "app/runstatus.h"
#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/filelists.h"
#include "fingerprint/fingerprintcalculation.h"
#include "ui_mainwindow.h"
#include "widgets/whenfinished.h"

#include <QDebug>
#include <QTimer>
#include <QtConcurrent/QtConcurrentMap>

#include <chrono>
#include <exception>

namespace {

/** The fingerprint stage fills the progress bar up to here. */
constexpr qint64 kProgressShare = 80;

/** The progress of one future, or nothing for a run over an empty list, which has no range. */
struct Progress
{
    explicit Progress(const QFuture<QList<FingerprintRecord>>& future)
    {
        if (future.progressMaximum() > future.progressMinimum()) {
            done = qint64(future.progressValue()) - future.progressMinimum();
            range = qint64(future.progressMaximum()) - future.progressMinimum();
        }
    }
    qint64 done = 0;
    qint64 range = 0;
};

} // namespace

QStringList MainWindow::find_audio_files_dir(const QStringList& folders)
{
    return fingerprint::findAudioFiles(folders, runStop.get_token());
}

void MainWindow::collectTmp(QList<QStringList>& result, const QStringList& files)
{
    result.append(files);
}

FingerprintRecord MainWindow::calcSingleFingerprint(const QString& path)
{
    try {
        const auto [record, report, facts] =
            fingerprint::fingerprintFile(path, runStop.get_token());
        fingerprint::printMessages(report);
        if (!report.succeeded && !report.stopped) {
            qDebug("ERROR");
        }
        return record;
    } catch (const std::exception& error) {
        qDebug("%s", error.what());
        return {path, {}, 0, 0, 0};
    }
}

void MainWindow::collectFingerprint(QList<FingerprintRecord>& result,
                                    const FingerprintRecord& record)
{
    result.append(record);
}

void MainWindow::calculateFingerprintParallel()
{
    if (filesWatcher.isCanceled()) {
        return;
    }
    const QList<QStringList> groups = filesFuture.resultAt(0);
    const auto [listA, listB] = fingerprint::listsToFingerprint(groups.value(0), groups.value(1));

    const bool betweenGroups = comparisonMode() == ComparisonMode::BetweenGroups;
    if (listA.isEmpty() || (betweenGroups && listB.isEmpty())) {
        ui->progressBar->setValue(100);
        // The full bar stays for a second to show that a search took place.
        QTimer::singleShot(std::chrono::seconds(1), this,
                           inThisRun([this] { noDuplicateFilesFound(); }));
        return;
    }
    startFingerprintRuns(listA, listB);
}

void MainWindow::startFingerprintRuns(const QStringList& listA, const QStringList& listB)
{
    const auto start = [this](const QStringList& files) {
        return QtConcurrent::mappedReduced(
            &threadPool, files, &MainWindow::calcSingleFingerprint, &MainWindow::collectFingerprint,
            QtConcurrent::UnorderedReduce | QtConcurrent::SequentialReduce);
    };
    runStatus->reading(0, listA.size() + listB.size());
    fingerprintFuture1 = start(listA);
    fingerprintFuture2 = start(listB);
    startWatching(fingerprintWatcher1, fingerprintFuture1);
    startWatching(fingerprintWatcher2, fingerprintFuture2);

    // The comparison needs both runs. Counting joins them without blocking this thread.
    pendingFingerprintRuns = 2;
    const auto finished =
        inThisRun([this](const QList<FingerprintRecord>&) { fingerprintRunFinished(); });
    whenFinished(fingerprintFuture1, this, finished);
    whenFinished(fingerprintFuture2, this, finished);
}

void MainWindow::fingerprintRunFinished()
{
    if (--pendingFingerprintRuns == 0) {
        compareAudioParallel();
    }
}

void MainWindow::fpValueChanged(int /*value*/)
{
    if (!fingerprintFuture1.isStarted() || !fingerprintFuture2.isStarted()) {
        return;
    }
    // The progress of a cancelled run is not shown.
    if (fingerprintFuture1.isCanceled() || fingerprintFuture2.isCanceled()) {
        return;
    }
    const Progress first(fingerprintFuture1);
    const Progress second(fingerprintFuture2);
    const qint64 range = first.range + second.range;
    if (range > 0) {
        ui->progressBar->setValue(
            static_cast<int>((first.done + second.done) * kProgressShare / range));
        runStatus->reading(first.done + second.done, range);
    }
}
