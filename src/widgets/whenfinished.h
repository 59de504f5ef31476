#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QObject>

#include <utility>

/**
 * Calls \a function with the result of \a future once that has ended. The call comes from the event
 * loop, after everything that older watchers of the future have to say; it does not come if the
 * future was cancelled or ended by an exception, or if \a context is gone by then.
 *
 * This stands in for QFuture::then(context, function): where a run ends at the very moment of that
 * call, Qt 6.4 delivers the continuation twice, from this thread and from the worker, and crashes
 * at the second.
 *
 * Thread: that of \a context, which must stay alive until this returns.
 */
template <typename Result, typename Function>
void whenFinished(const QFuture<Result>& future, QObject* context, Function function)
{
    auto* watcher = new QFutureWatcher<Result>(context); // goes when it has told, or with that
    QObject::connect(watcher, &QFutureWatcherBase::finished, context,
                     [watcher, function = std::move(function)] {
                         watcher->deleteLater();
                         if (!watcher->isCanceled()) {
                             function(watcher->result());
                         }
                     });
    watcher->setFuture(future);
}
