#pragma once

#include "fileops/duplicaterow.h"

#include <QString>

class QListWidgetItem;

/**
 * The rows of the file operation dialog's list. A row has a tick, its path as its text, and what the
 * functions below read. One that may be the only copy of its content is held back: only the user
 * ticks it, by itself. Thread: GUI thread only.
 */
namespace duplicateItem {

/** A row without a list, so that ticking it reports no change. The caller owns it. */
QListWidgetItem* newItem(const DuplicateRow& row);

/** The path of its reference; empty if it has none. */
QString referenceOf(const QListWidgetItem* item);

bool isHeldBack(const QListWidgetItem* item);

/** Unticks \a item and leaves its ticking to the user; \a reason becomes its tooltip. */
void holdBack(QListWidgetItem* item, const QString& reason);

/** Why rows are held back: a name of \a file; \a reference goes under another name; it is gone. */
QString otherNameReason(const QString& file);
QString tickedReason(const QString& reference);
QString missingReason(const QString& reference);

} // namespace duplicateItem
