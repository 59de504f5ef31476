#include "app/mainwindow.h"

#include "app/runstatus.h"
#include "compare/recordsimilarity.h"
#include "settings/settingsstore.h"
#include "ui_mainwindow.h"
#include "widgets/whenfinished.h"

#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>

namespace {

/** The comparison stage fills the progress bar from here ... */
constexpr double kProgressStart = 80.0;
/** ... by this much. */
constexpr qint64 kProgressShare = 20;

/** Listing so many pairs takes less than a frame of the window; a worker lists more. */
constexpr qint64 kPairsListedAtOnce = 1'000'000;

} // namespace

std::tuple<int, int, int> MainWindow::calcSingleSimilarity(const std::pair<int, int>& pair)
{
    const auto [i, j] = pair;
    if (runStop.stop_requested()) {
        return {i, j, 0};
    }
    // at(), since [] on a list that is shared would detach it under the other workers.
    return {i, j, compare::recordSimilarity(fingerprintsFirst.at(i), fingerprintsSecond.at(j))};
}

void MainWindow::findDuplicateFiles(DuplicateMap& result, const std::tuple<int, int, int>& item)
{
    if (runStop.stop_requested()) {
        return;
    }
    const auto [i, j, similarity] = item;
    // Read for every pair on purpose: a threshold changed during a run applies to later pairs.
    compare::addIfDuplicate(result, std::get<0>(fingerprintsFirst.at(i)),
                            std::get<0>(fingerprintsSecond.at(j)), similarity,
                            settings::similarityThreshold());
}

void MainWindow::compareAudioParallel()
{
    const bool betweenGroups = comparisonMode() == ComparisonMode::BetweenGroups;
    if (fingerprintFuture1.isCanceled() || (betweenGroups && fingerprintFuture2.isCanceled())) {
        return;
    }
    fingerprintsFirst = fingerprintFuture1.resultAt(0);
    if (betweenGroups) {
        // Finished as well by now, so this does not wait.
        fingerprintsSecond = fingerprintFuture2.resultAt(0);
    } else {
        fingerprintsSecond = fingerprintsFirst;
    }
    runStatus->filesRead(fingerprintsFirst,
                         betweenGroups ? fingerprintsSecond : QList<FingerprintRecord>());
    audioInfoMap = compare::buildAudioInfoMap(fingerprintsFirst, fingerprintsSecond);

    const qsizetype firstCount = fingerprintsFirst.size();
    const qsizetype secondCount = fingerprintsSecond.size();
    const qint64 pairCount = betweenGroups
                                 ? compare::betweenGroupsPairCount(firstCount, secondCount)
                                 : compare::withinGroupPairCount(firstCount);
    const qsizetype fileCount = betweenGroups ? firstCount + secondCount : firstCount;
    if (!compare::comparisonFits(pairCount, compare::availableMemoryBytes())) {
        refuseComparison(fileCount);
        return;
    }

    runStatus->comparing(0, pairCount);
    // It can have been changed since the run began.
    runStatus->warnOfThreshold(settings::similarityThreshold());
    const auto listPairs = [first = static_cast<int>(firstCount),
                            second = static_cast<int>(secondCount), betweenGroups,
                            stop = runStop.get_token()] {
        return betweenGroups ? compare::betweenGroupsPairs(first, second, stop)
                             : compare::withinGroupPairs(first, stop);
    };
    if (pairCount <= kPairsListedAtOnce) {
        startComparison(listPairs(), fileCount);
        return;
    }
    // The list of a large collection takes a second.
    pairsFuture = QtConcurrent::run(&threadPool, listPairs);
    whenFinished(
        pairsFuture, this,
        inThisRun([this, fileCount](const std::optional<QList<compare::IndexPair>>& pairs) {
            startComparison(pairs, fileCount);
        }));
}

/** Compares \a pairs. No value, for want of memory, refuses \a fileCount files. */
void MainWindow::startComparison(const std::optional<QList<compare::IndexPair>>& pairs,
                                 qsizetype fileCount)
{
    if (!pairs) {
        refuseComparison(fileCount);
        return;
    }
    duplicatesFuture = QtConcurrent::mappedReduced(
        &threadPool, *pairs, &MainWindow::calcSingleSimilarity, &MainWindow::findDuplicateFiles,
        QtConcurrent::UnorderedReduce | QtConcurrent::SequentialReduce);
    startWatching(duplicatesWatcher, duplicatesFuture);
    // The run has its own reference to the list now; this one would keep it after the run.
    pairsFuture = {};
}

/** Ends a run whose work list the framework would skip or memory cannot hold. */
void MainWindow::refuseComparison(qsizetype fileCount)
{
    endRun();
    const QString message =
        tr("%1 files are too many to compare at once. Compare fewer folders at a time.")
            .arg(fileCount);
    ui->statusbar->showMessage(message);
    runStatus->finish(message);
}

void MainWindow::compareValueChanged(int value)
{
    const qint64 minimum = duplicatesWatcher.progressMinimum();
    const qint64 maximum = duplicatesWatcher.progressMaximum();
    // An empty work list has no range, and the progress of a cancelled run is not shown.
    if (maximum == minimum || duplicatesWatcher.isCanceled()) {
        return;
    }
    const qint64 step = (value - minimum) * kProgressShare / (maximum - minimum);
    ui->progressBar->setValue(static_cast<int>(static_cast<double>(step) + kProgressStart));
    runStatus->comparing(value - minimum, maximum - minimum);
}
