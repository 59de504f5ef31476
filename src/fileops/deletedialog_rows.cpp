#include "fileops/deletedialog.h"

#include "fileops/duplicateitem.h"
#include "fileops/keptfiles.h"
#include "ui_deletedialog.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QScopedValueRollback>

namespace {

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

} // namespace

int deleteDialog::addRows(const QList<DuplicateRow>& rows)
{
    if (rows.isEmpty()) {
        return 0;
    }
    int ticked = 0;
    ui->filesList->addItem(duplicateItem::newItem({tr("All")}));
    for (const DuplicateRow& row : rows) {
        QListWidgetItem* item = duplicateItem::newItem(row);
        ui->filesList->addItem(item);
        if (!row.reference.isEmpty()) {
            similarities.insert({row.path, row.reference}, row.similarity);
        }
        ticked += item->checkState() == Qt::Checked ? 1 : 0;
    }
    showMarkedCount();
    return ticked;
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
    QList<QListWidgetItem*> files;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        files.append(ui->filesList->item(row));
    }
    setTicked(files, state);
}

/** Ticks or unticks \a items, but ticks none that is held back. Does not count them. */
void deleteDialog::setTicked(const QList<QListWidgetItem*>& items, Qt::CheckState state)
{
    if (state == Qt::Checked) {
        holdBackRowsWithoutReference();
    }
    const QScopedValueRollback guard(ticking, true);
    for (QListWidgetItem* item : items) {
        if (state == Qt::Unchecked || !duplicateItem::isHeldBack(item)) {
            item->setCheckState(state);
        }
    }
}

/** Holds back the duplicates of references that were removed while the dialog is open. */
void deleteDialog::holdBackRowsWithoutReference()
{
    QHash<QString, bool> isThere;
    holdBackIf([&isThere](const QListWidgetItem* item) {
        const QString reference = duplicateItem::referenceOf(item);
        auto known = isThere.constFind(reference);
        if (known == isThere.cend()) {
            known = isThere.insert(reference, QFileInfo(reference).isFile());
        }
        return *known ? QString() : duplicateItem::missingReason(reference);
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
        references.append(duplicateItem::referenceOf(item));
        if (duplicateItem::isHeldBack(item) && item->checkState() == Qt::Checked) {
            tickedByHand.append(item->text());
        }
    }
    references.removeDuplicates();
    fileops::KeptFiles kept(references);
    fileops::KeptFiles going(tickedByHand);
    holdBackIf([&kept, &going](const QListWidgetItem* item) {
        const QString reference = duplicateItem::referenceOf(item);
        const QString sameFileAs = kept.nameOf(item->text());
        if (!sameFileAs.isEmpty()) {
            return duplicateItem::otherNameReason(sameFileAs);
        }
        if (!kept.isThere(reference)) {
            return duplicateItem::missingReason(reference);
        }
        return going.nameOf(reference).isEmpty() ? QString()
                                                 : duplicateItem::tickedReason(reference);
    });
}

/** Holds back the rows with a reference for which \a reasonFor gives a reason. */
void deleteDialog::holdBackIf(const std::function<QString(const QListWidgetItem*)>& reasonFor)
{
    const QScopedValueRollback guard(ticking, true);
    bool changed = false;
    for (int row = kFirstFileRow; row < ui->filesList->count(); ++row) {
        QListWidgetItem* item = ui->filesList->item(row);
        if (duplicateItem::referenceOf(item).isEmpty() || duplicateItem::isHeldBack(item)) {
            continue;
        }
        const QString reason = reasonFor(item);
        if (!reason.isEmpty()) {
            duplicateItem::holdBack(item, reason);
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
