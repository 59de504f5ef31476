#pragma once

/**
 * While it exists, a run that is given to a watcher (QFutureWatcher::setFuture) ends before the
 * watcher is connected to it, and its worker pauses before it starts what QFuture::then may have
 * attached. Few files that are quickly refused do so now and then on a fast machine; here all do.
 */
class FinishedRuns
{
public:
    FinishedRuns();
    ~FinishedRuns();

    FinishedRuns(const FinishedRuns&) = delete;
    FinishedRuns& operator=(const FinishedRuns&) = delete;
};
