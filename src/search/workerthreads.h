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
 * Threads that all run one function, while the thread that started them waits, looks at how far
 * they are and takes what they have made.
 */
class WorkerThreads
{
public:
    /** What a thread does; it is given the object itself, for wake(). */
    using Work = std::function<void(WorkerThreads&)>;

    /**
     * Starts \a count threads, at least one, that call \a work once each; fewer where the system
     * does not give so many.
     * Errors: throws std::system_error or std::bad_alloc when not even one can be started.
     */
    WorkerThreads(int count, const Work& work);

    /** Waits for all of them. */
    ~WorkerThreads() = default;
    WorkerThreads(const WorkerThreads&) = delete;
    WorkerThreads& operator=(const WorkerThreads&) = delete;

    /**
     * Waits until all have returned, wake() was called, or \a timeout has passed. Returns whether
     * all have returned.
     * Errors: throws the first exception that left the function, once all have returned.
     * Thread: the one that made the object.
     */
    bool waitFor(std::chrono::milliseconds timeout);

    /** Ends the waiting of waitFor(), for something is there to be taken. Thread: any. */
    void wake();

private:
    void run(const Work& work);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_running = 0;
    bool m_woken = false;
    std::exception_ptr m_failure;
    // Last, since the threads use what stands above until they are joined.
    std::vector<std::jthread> m_threads;
};

} // namespace search
