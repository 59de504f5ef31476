#pragma once

#include <QSemaphore>
#include <QThreadPool>

#include <memory>

namespace support {

/** Keeps a pool busy, so that nothing begins, ends or reports while events are delivered. */
class OccupiedPool
{
public:
    explicit OccupiedPool(QThreadPool* pool)
        : m_threads(pool->maxThreadCount())
    {
        for (int i = 0; i < m_threads; ++i) {
            pool->start([gate = m_gate] { gate->acquire(); });
        }
    }
    ~OccupiedPool()
    {
        m_gate->release(m_threads);
    }
    Q_DISABLE_COPY_MOVE(OccupiedPool)

private:
    std::shared_ptr<QSemaphore> m_gate = std::make_shared<QSemaphore>();
    int m_threads;
};

} // namespace support
