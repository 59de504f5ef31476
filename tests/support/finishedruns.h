#pragma once

#include "widgets/whenfinished.h"

#include <QScopedValueRollback>

/**
 * While it exists, every run ends before a watcher is connected to it. A few files that are quickly
 * refused do so now and then on a fast machine.
 */
class FinishedRuns
{
    QScopedValueRollback<bool> m_rollback{runsEndBeforeTheyAreWatchedForTests, true};
};
