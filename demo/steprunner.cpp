#include "steprunner.h"

#include <chrono>
#include <utility>

StepRunner::StepRunner(QList<Step> steps, QObject* parent)
    : QObject(parent)
    , m_steps(std::move(steps))
{
    m_poll.setInterval(std::chrono::milliseconds(20));
    connect(&m_poll, &QTimer::timeout, this, &StepRunner::proceed);
    m_hangGuard.setInterval(std::chrono::minutes(2));
    m_hangGuard.setSingleShot(true);
    connect(&m_hangGuard, &QTimer::timeout, this, [this] {
        m_poll.stop();
        Q_EMIT stuck(m_steps.at(m_current).title);
    });
}

void StepRunner::start()
{
    m_current = -1;
    m_poll.start();
}

void StepRunner::proceed()
{
    if (m_current >= 0 && !m_steps.at(m_current).isDone()) {
        return;
    }
    ++m_current;
    if (m_current == m_steps.size()) {
        m_poll.stop();
        m_hangGuard.stop();
        Q_EMIT finished();
        return;
    }
    takeStep();
}

void StepRunner::takeStep()
{
    // A step may run an event loop of its own, in which it must not be followed by the next.
    m_poll.stop();
    m_hangGuard.start();
    m_steps.at(m_current).act();
    m_poll.start();
}
