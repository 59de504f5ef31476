#include "fileops/deletedialog.h"

#include "fileops/fileoperations.h"
#include "fileops/unlessstopped.h"
#include "ui_deletedialog.h"
#include "widgets/foldercompletion.h"
#include "widgets/returnkey.h"
#include "widgets/whenfinished.h"

#include <QFileDialog>
#include <QTimer>
#include <QtConcurrent>

#include <chrono>

namespace {

constexpr std::chrono::seconds kResultShown{1};

} // namespace

deleteDialog::deleteDialog(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui_deleteDialog)
    , threadPool(this)
{
    ui->setupUi(this);
    setUpRows();
    folderCompletion::completes(ui->dirLabel);
    ui->deleteProgress->hide();
    returnKey::pressesFocused({ui->chooseDirButton, ui->okButton, ui->cancelButton});
    // One after another: the files of an operation are never handled in parallel.
    threadPool.setMaxThreadCount(1);
    connect(&watcher, &QFutureWatcherBase::progressRangeChanged, ui->deleteProgress,
            &QProgressBar::setRange);
    connect(&watcher, &QFutureWatcherBase::progressValueChanged, ui->deleteProgress,
            &QProgressBar::setValue);
}

deleteDialog::~deleteDialog()
{
    // Cancelling alone would be late: the framework hands out files in blocks.
    stop.request_stop();
    for (QFuture<QList<bool>>& each : operations) {
        each.cancel();
    }
    threadPool.waitForDone();
    delete ui;
}

void deleteDialog::hideDeleteProgress()
{
    ui->deleteProgress->hide();
}

void deleteDialog::on_okButton_clicked()
{
    accept();
}

void deleteDialog::on_cancelButton_clicked()
{
    reject();
}

void deleteDialog::on_chooseDirButton_clicked()
{
    ui->dirLabel->setText(QFileDialog::getExistingDirectory(this, tr("Choose Directory"), QString(),
                                                            QFileDialog::ShowDirsOnly |
                                                                QFileDialog::DontResolveSymlinks));
}

void deleteDialog::on_deleteButton_clicked()
{
    holdBackWhatWouldBeLost();
    start(markedPaths(), &deleteDialog::deleteFile, tr(" files deleted"), Rows::RemoveVanished);
}

void deleteDialog::on_moveButton_clicked()
{
    if (ui->dirLabel->text().isEmpty()) {
        return;
    }
    holdBackWhatWouldBeLost();
    start(markedWithDestinations(fileops::kMovedMarker), &deleteDialog::moveFile,
          tr(" files moved"), Rows::RemoveVanished);
}

void deleteDialog::on_copyButton_clicked()
{
    start(markedWithDestinations(fileops::kCopiedMarker), &deleteDialog::copyFile,
          tr(" files copied"), Rows::Keep);
}

bool deleteDialog::copyFile(const fileops::SourceAndDestination& paths)
{
    return fileops::copyFile(paths);
}

bool deleteDialog::moveFile(const fileops::SourceAndDestination& paths)
{
    return fileops::moveFile(paths);
}

bool deleteDialog::deleteFile(const QString& path)
{
    return fileops::deleteFile(path);
}

void deleteDialog::copyReduce(QList<bool>& result, const bool& ok)
{
    result.append(ok);
}

QList<fileops::SourceAndDestination>
deleteDialog::markedWithDestinations(const QString& marker) const
{
    const QString directory = ui->dirLabel->text();
    if (directory.isEmpty()) {
        return {};
    }
    return fileops::withDestinations(markedPaths(), directory, marker);
}

template <typename Operand>
void deleteDialog::start(const QList<Operand>& work, bool (*function)(const Operand&),
                         const QString& ending, Rows rows)
{
    if (work.isEmpty()) {
        return;
    }
    ui->deleteProgress->show();
    filesHandled = 0;
    future = QtConcurrent::mappedReduced<QList<bool>>(
        &threadPool, work, fileops::UnlessStopped(stop.get_token(), function),
        &deleteDialog::copyReduce, QtConcurrent::UnorderedReduce | QtConcurrent::SequentialReduce);
    whenFinished(future, this, [this, ending, rows](const QList<bool>& results) {
        showResult(results, ending, rows);
    });
    operations.removeIf([](const QFuture<QList<bool>>& each) { return each.isFinished(); });
    operations.append(future);
    startWatching(watcher, future);
}

void deleteDialog::showResult(const QList<bool>& results, const QString& ending, Rows rows)
{
    ui->deleteCountLabel->setText(QString::number(results.count(true)) + ending);
    if (rows == Rows::RemoveVanished) {
        removeVanishedRows();
    }
    QTimer::singleShot(kResultShown, this, &deleteDialog::hideDeleteProgress);
}
