#pragma once

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimerEvent>

namespace support {

/**
 * Fires every single-shot timer of this thread that was started for \a intervalMs, without waiting
 * for its time. Returns how many there were. Thread: GUI thread only.
 */
inline int fireSingleShots(int intervalMs)
{
    auto* dispatcher = QAbstractEventDispatcher::instance();
    int fired = 0;
    // QTimer::singleShot() makes its timers as children of the dispatcher.
    const QObjectList owners = dispatcher->children();
    for (QObject* owner : owners) {
        const auto timers = dispatcher->registeredTimers(owner);
        for (const auto& timer : timers) {
            if (timer.interval == intervalMs) {
                QTimerEvent event(timer.timerId);
                QCoreApplication::sendEvent(owner, &event);
                ++fired;
            }
        }
    }
    return fired;
}

} // namespace support
