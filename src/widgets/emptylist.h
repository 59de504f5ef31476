#pragma once

class QAbstractItemView;

namespace emptyList {

/**
 * Hides the horizontal scroll bar of \a view while it has no rows: columns that are wider than the
 * view would show one. Thread: GUI thread only.
 */
void hidesScrollBar(QAbstractItemView* view);

} // namespace emptyList
