#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace search {

/**
 * Threads that all run one function, while the thread that started them waits, reports progress and
 * takes what they have made.
 *
 * Thread: Reentrant: one object per thread, but for wake().
 */
class WorkerThreads
{
public:
    /** The function of a thread; it gets the object, to call wake(). */
    using Work = std::function<void(WorkerThreads&)>;

    /**
     * Starts \a count threads, at least one, that call \a work once each. Starts fewer if the
     * system refuses more. Errors: throws std::system_error or std::bad_alloc if no thread can be
     * started.
     */
    WorkerThreads(int count, const Work& work);

    /** Waits for all of them. */
    ~WorkerThreads() = default;
    WorkerThreads(const WorkerThreads&) = delete;
    WorkerThreads& operator=(const WorkerThreads&) = delete;

    /**
     * Waits until all threads have returned, wake() is called, or \a timeout has passed. Returns
     * whether all have returned.
     * Errors: once all have returned, throws the first exception that left the function.
     */
    bool waitFor(std::chrono::milliseconds timeout);

    /**
     * Waits until all threads have returned, and calls \a meanwhile about five times a second until
     * then. Errors: as waitFor().
     */
    void waitForAll(const std::function<void()>& meanwhile);

    /** Ends the waiting of waitFor(), since there is something to take. Thread: Any thread. */
    void wake();

private:
    void run(const Work& work);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_running = 0;
    bool m_woken = false;
    std::exception_ptr m_failure;
    // Last, since the threads use the members above until they are joined.
    std::vector<std::jthread> m_threads;
};

} // namespace search
