#pragma once

#include <QString>

class QTreeWidget;

/**
 * \a tree as text: a line of titles, then a line for each row in the order shown, children
 * indented, columns aligned. Thread: GUI thread only.
 */
QString treeText(QTreeWidget* tree);
