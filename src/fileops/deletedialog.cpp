#include "fileops/deletedialog.h"

#include "fileops/fileoperations.h"
#include "fileops/keptfiles.h"
#include "fileops/unlessstopped.h"
#include "ui_deletedialog.h"
#include "widgets/returnkey.h"
#include "widgets/rowdelegate.h"
#include "widgets/whenfinished.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHash>
#include <QScopedValueRollback>
#include <QTimer>
#include <QtConcurrent>

#include <chrono>

namespace {

constexpr int kAllRow = 0;
constexpr int kFirstFileRow = 1;
constexpr std::chrono::seconds kResultShown{1};

/** The end of the count label before an operation; empty for an unknown operation. */
QString markedEnding(const QString& operation)
{
    if (operation == QStringLiteral("delete")) {
        return deleteDialog::tr(" files marked for deletion");
    }
    if (operation == QStringLiteral("move")) {
        return deleteDialog::tr(" files marked for move");
    }
    if (operation == QStringLiteral("copy")) {
        return deleteDialog::tr(" files marked for copy");
    }
    return {};
}

/** The data of a row besides its tick and its text, which is the path that is acted on. */
enum RowRole {
    ReferenceRole = Qt::UserRole, ///< The path of its reference; empty if it has none.
    HeldBackRole,                 ///< Whether only the user ticks it, not "All".
};

bool isHeldBack(const QListWidgetItem* item)
{
    return item->data(HeldBackRole).toBool();
}

/** Leaves the ticking of \a item, which may be the only copy of its content, to the user. */
void holdBack(QListWidgetItem* item, const QString& reason)
{
    item->setCheckState(Qt::Unchecked);
    item->setData(HeldBackRole, true);
    // As escaped markup, since a path that looks like markup would be rendered as such.
    item->setToolTip(
        QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(reason.toHtmlEscaped()));
}

QString referenceOf(const QListWidgetItem* item)
{
    return item->data(ReferenceRole).toString();
}

QString otherNameReason(const QString& file)
{
    return deleteDialog::tr("Another name of %1: it is the same file").arg(file);
}

QString tickedReason(const QString& reference)
{
    return deleteDialog::tr("Its reference %1 is ticked under another name: this would be the only "
                            "copy")
        .arg(reference);
}

QString missingReason(const QString& reference)
{
    return deleteDialog::tr("Its reference %1 is missing: this may be the only copy")
        .arg(reference);
}

/** A row without a list, so that ticking it reports no change. */
QListWidgetItem* newRow(const DuplicateRow& row)
{
    auto* item = new QListWidgetItem(row.path);
    item->setCheckState(Qt::Checked);
    item->setData(ReferenceRole, row.reference);
    if (!row.sameFileAs.isEmpty()) {
        holdBack(item, otherNameReason(row.sameFileAs));
    } else if (!row.isReferenceThere) {
        holdBack(item, missingReason(row.reference));
    }
    return item;
}

} // namespace

deleteDialog::deleteDialog(QWidget* parent)
    : QDialog(parent)
    , ui(new Ui_deleteDialog)
    , threadPool(this)
{
    ui->setupUi(this);
    ui->filesList->setItemDelegate(new RowDelegate(this));
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

int deleteDialog::addRows(const QList<DuplicateRow>& rows)
{
    if (rows.isEmpty()) {
        return 0;
    }
    int ticked = 0;
    ui->filesList->addItem(newRow({tr("All")}));
    for (const DuplicateRow& row : rows) {
        QListWidgetItem* item = newRow(row);
        ui->filesList->addItem(item);
        ticked += item->checkState() == Qt::Checked ? 1 : 0;
    }
    showMarkedCount();
    return ticked;
}

void deleteDialog::hideDeleteProgress()
{
    ui->deleteProgress->hide();
}

void deleteDialog::on_filesList_itemChanged(QListWidgetItem* item)
{
    if (ticking) {
        return;
    }
    if (item == ui->filesList->item(kAllRow)) {
        tickAll(item->checkState() == Qt::Checked ? Qt::Checked : Qt::Unchecked);
    }
    showMarkedCount();
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
    start(markedWithDestinations(QStringLiteral("-moved-")), &deleteDialog::moveFile,
          tr(" files moved"), Rows::RemoveVanished);
}

void deleteDialog::on_copyButton_clicked()
{
    start(markedWithDestinations(QStringLiteral("-copied-")), &deleteDialog::copyFile,
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

QStringList deleteDialog::markedPaths() const
{
    QStringList paths;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        const QListWidgetItem* item = ui->filesList->item(row);
        if (item->checkState() == Qt::Checked) {
            paths.append(item->text());
        }
    }
    return paths;
}

int deleteDialog::markedCount() const
{
    int count = 0;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        count += ui->filesList->item(row)->checkState() == Qt::Checked ? 1 : 0;
    }
    return count;
}

void deleteDialog::tickAll(Qt::CheckState state)
{
    if (state == Qt::Checked) {
        holdBackRowsWithoutReference();
    }
    const QScopedValueRollback guard(ticking, true);
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        QListWidgetItem* item = ui->filesList->item(row);
        if (state == Qt::Unchecked || !isHeldBack(item)) {
            item->setCheckState(state);
        }
    }
}

/** Holds back the duplicates of references that were removed while the dialog is open. */
void deleteDialog::holdBackRowsWithoutReference()
{
    QHash<QString, bool> isThere;
    holdBackIf([&isThere](const QListWidgetItem* item) {
        const QString reference = referenceOf(item);
        auto known = isThere.constFind(reference);
        if (known == isThere.cend()) {
            known = isThere.insert(reference, QFileInfo(reference).isFile());
        }
        return *known ? QString() : missingReason(reference);
    });
}

/**
 * Checks the ticked files again just before they are removed, and holds back each that is its
 * reference under another name, or whose reference is missing or removed as well.
 */
void deleteDialog::holdBackWhatWouldBeLost()
{
    QStringList references;
    QStringList tickedByHand;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        const QListWidgetItem* item = ui->filesList->item(row);
        references.append(referenceOf(item));
        if (isHeldBack(item) && item->checkState() == Qt::Checked) {
            tickedByHand.append(item->text());
        }
    }
    references.removeDuplicates();
    fileops::KeptFiles kept(references);
    fileops::KeptFiles going(tickedByHand);
    holdBackIf([&kept, &going](const QListWidgetItem* item) {
        const QString reference = referenceOf(item);
        const QString sameFileAs = kept.nameOf(item->text());
        if (!sameFileAs.isEmpty()) {
            return otherNameReason(sameFileAs);
        }
        if (!kept.isThere(reference)) {
            return missingReason(reference);
        }
        return going.nameOf(reference).isEmpty() ? QString() : tickedReason(reference);
    });
}

/** Holds back the rows with a reference for which \a reasonFor gives a reason. */
void deleteDialog::holdBackIf(const std::function<QString(const QListWidgetItem*)>& reasonFor)
{
    const QScopedValueRollback guard(ticking, true);
    bool changed = false;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        QListWidgetItem* item = ui->filesList->item(row);
        if (referenceOf(item).isEmpty() || isHeldBack(item)) {
            continue;
        }
        const QString reason = reasonFor(item);
        if (!reason.isEmpty()) {
            holdBack(item, reason);
            changed = true;
        }
    }
    if (changed) {
        showMarkedCount();
    }
}

void deleteDialog::showMarkedCount()
{
    const QString ending = markedEnding(operation);
    if (!ending.isEmpty()) {
        ui->deleteCountLabel->setText(QString::number(markedCount()) + ending);
    }
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

void deleteDialog::removeVanishedRows()
{
    // From the end, so that removing a row renumbers none that is still to be visited.
    for (int row = ui->filesList->count() - 1; row >= kFirstFileRow; --row) {
        if (!QFile::exists(ui->filesList->item(row)->text())) {
            delete ui->filesList->takeItem(row);
        }
    }
    if (ui->filesList->count() == 1) {
        ui->filesList->clear();
    }
}
