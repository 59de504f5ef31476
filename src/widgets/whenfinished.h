#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>

#include <utility>

/**
 * For tests: whether a run ends before startWatching() connects a watcher to it, as short runs now
 * and then do. Thread: GUI thread only.
 */
inline bool runsEndBeforeTheyAreWatchedForTests = false;

/**
 * Connects \a watcher to \a future, as QFutureWatcher::setFuture() does.
 * Thread: that of \a watcher.
 */
template <typename Result>
void startWatching(QFutureWatcher<Result>& watcher, QFuture<Result> future)
{
    if (runsEndBeforeTheyAreWatchedForTests) {
        future.waitForFinished();
    }
    watcher.setFuture(future);
}

/**
 * Calls \a function once with the result of \a future when that has ended. The call comes from the
 * event loop, after everything that older watchers of the future report; it does not come if the
 * future was cancelled or ended by an exception, or if \a context is gone by then.
 *
 * This replaces QFuture::then(context, function): where a run ends at the very moment of that call,
 * Qt 6.4 delivers the continuation twice, from this thread and from the worker, and crashes at the
 * second.
 *
 * Thread: that of \a context, which must stay alive until this returns.
 */
template <typename Result, typename Function>
void whenFinished(const QFuture<Result>& future, QObject* context, Function function)
{
    auto* watcher = new QFutureWatcher<Result>(context); // deleted after delivery, or with context
    QObject::connect(watcher, &QFutureWatcherBase::finished, context,
                     [watcher, function = std::move(function)] {
                         watcher->deleteLater();
                         if (!watcher->isCanceled()) {
                             function(watcher->result());
                         }
                     });
    startWatching(*watcher, future);
}
