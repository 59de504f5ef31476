#include "fileops/duplicateitem.h"

#include "fileops/deletedialog.h"

#include <QListWidgetItem>

namespace {

/** The data of a row besides its tick and its text, which is the path that is acted on. */
enum RowRole {
    ReferenceRole = Qt::UserRole, ///< The path of its reference; empty if it has none.
    HeldBackRole,                 ///< Whether only the user ticks it, not "All".
};

} // namespace

QListWidgetItem* duplicateItem::newItem(const DuplicateRow& row)
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

QString duplicateItem::referenceOf(const QListWidgetItem* item)
{
    return item->data(ReferenceRole).toString();
}

bool duplicateItem::isHeldBack(const QListWidgetItem* item)
{
    return item->data(HeldBackRole).toBool();
}

void duplicateItem::holdBack(QListWidgetItem* item, const QString& reason)
{
    item->setCheckState(Qt::Unchecked);
    item->setData(HeldBackRole, true);
    // As escaped markup, since a path that looks like markup would be rendered as such.
    item->setToolTip(
        QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(reason.toHtmlEscaped()));
}

QString duplicateItem::otherNameReason(const QString& file)
{
    return deleteDialog::tr("Another name of %1: it is the same file").arg(file);
}

QString duplicateItem::tickedReason(const QString& reference)
{
    return deleteDialog::tr("Its reference %1 is ticked under another name: this would be the only "
                            "copy")
        .arg(reference);
}

QString duplicateItem::missingReason(const QString& reference)
{
    return deleteDialog::tr("Its reference %1 is missing: this may be the only copy")
        .arg(reference);
}
