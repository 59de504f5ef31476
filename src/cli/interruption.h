#pragma once

#include <array>
#include <atomic>
#include <stop_token>
#include <thread>

namespace cli {

/**
 * Turns the signals that ask a program to end (SIGINT, which is Ctrl-C, SIGTERM, SIGHUP) into a
 * requested stop. What does not stop within a second, such as a read from a disk that no longer
 * answers, is ended without it: nothing is half written then but what is written over next time.
 * A second signal ends the program at once.
 *
 * Thread: one object at a time, made before other threads are.
 */
class Interruption
{
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    std::stop_token token() const
    {
        return m_stop.get_token();
    }

    /** What the program has to exit with: 128 and the signal's number, or 0 without a signal. */
    int exitStatus() const;

private:
    void watch();

    std::stop_source m_stop;
    std::atomic<int> m_signal = 0;
    /** The handler writes signals into the second end; 0 tells the watching thread to return. */
    std::array<int, 2> m_pipe = {-1, -1};
    std::jthread m_watcher;
};

} // namespace cli
