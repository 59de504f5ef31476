#pragma once

#include <array>
#include <atomic>
#include <stop_token>
#include <thread>

namespace cli {

/**
 * Turns the signals that ask a program to end (SIGINT, which is Ctrl-C, SIGTERM, SIGHUP) into a
 * requested stop. If the program does not stop within a second, as in a read from a disk that no
 * longer answers, it is ended, unless patience is unlimited: half-written files are temporary or
 * replaced by the next run. A second signal ends the program at once.
 *
 * Requires: one object at a time, made before other threads are. Thread: Any thread.
 */
class Interruption
{
public:
    enum class Patience {
        OneSecond,
        Unlimited, ///< For work that is finished file by file, each of which may take minutes.
    };

    explicit Interruption(Patience patience = Patience::OneSecond);
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    std::stop_token token() const
    {
        return m_stop.get_token();
    }

    /** The exit status of the program: 128 and the signal's number, or 0 without a signal. */
    int exitStatus() const;

private:
    void watch();

    const Patience m_patience;
    std::stop_source m_stop;
    std::atomic<int> m_signal = 0;
    /** The handler writes signals to the second end. 0 makes the watching thread return. */
    std::array<int, 2> m_pipe = {-1, -1};
    std::jthread m_watcher;
};

} // namespace cli
