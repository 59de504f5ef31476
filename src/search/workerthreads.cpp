#include "search/workerthreads.h"

#include <algorithm>
#include <utility>

namespace search {

WorkerThreads::WorkerThreads(int count, const Work& work)
    : m_running(std::max(count, 1))
{
    m_threads.reserve(static_cast<std::size_t>(m_running));
    for (int i = 0, all = m_running; i < all; ++i) {
        try {
            m_threads.emplace_back([this, work] { run(work); });
        } catch (const std::exception&) {
            if (m_threads.empty()) {
                throw;
            }
            // The threads that run do all the work, only slower.
            const std::scoped_lock lock(m_mutex);
            m_running -= all - i;
            break;
        }
    }
}

bool WorkerThreads::waitFor(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, timeout, [this] { return m_running == 0 || m_woken; });
    m_woken = false;
    if (m_running == 0 && m_failure) {
        std::rethrow_exception(std::exchange(m_failure, nullptr));
    }
    return m_running == 0;
}

void WorkerThreads::waitForAll(const std::function<void()>& meanwhile)
{
    constexpr std::chrono::milliseconds kInterval(200);
    while (!waitFor(kInterval)) {
        meanwhile();
    }
}

void WorkerThreads::wake()
{
    {
        const std::scoped_lock lock(m_mutex);
        m_woken = true;
    }
    m_changed.notify_one();
}

void WorkerThreads::run(const Work& work)
{
    std::exception_ptr failure;
    try {
        work(*this);
    } catch (...) {
        failure = std::current_exception();
    }
    const std::scoped_lock lock(m_mutex);
    if (failure && !m_failure) {
        m_failure = failure;
    }
    --m_running;
    m_changed.notify_one();
}

} // namespace search
