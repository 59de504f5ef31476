#include "cli/interruption.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace cli {

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
constexpr int kExitStatusOfSignals = 128;
/** Less than the promised second. */
constexpr int kPatienceMs = 900;
constexpr int kAnyTime = -1;

/** All that the signal handler reads. */
volatile std::sig_atomic_t signalPipe = -1;

void handleSignal(int signal)
{
    const int savedError = errno;
    const auto byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe, &byte, 1);
    errno = savedError;
}

/** The next byte of \a pipe, or -1 if none comes within \a timeoutMs. */
int nextByte(int pipe, int timeoutMs)
{
    pollfd descriptor = {pipe, POLLIN, 0};
    int ready = 0;
    do {
        ready = ::poll(&descriptor, 1, timeoutMs);
    } while (ready < 0 && errno == EINTR);
    unsigned char byte = 0;
    return ready > 0 && ::read(pipe, &byte, 1) == 1 ? byte : -1;
}

} // namespace

Interruption::Interruption(Patience patience)
    : m_patience(patience)
{
    if (::pipe2(m_pipe.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    signalPipe = m_pipe[1];
    m_watcher = std::jthread([this] { watch(); });
    for (const int signal : kSignals) {
        struct sigaction inherited = {};
        ::sigaction(signal, nullptr, &inherited);
        // nohup starts programs with an ignored signal, which stays ignored.
        if (inherited.sa_handler == SIG_IGN) {
            continue;
        }
        struct sigaction action = {};
        action.sa_handler = handleSignal;
        action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
        ::sigaction(signal, &action, nullptr);
    }
}

Interruption::~Interruption()
{
    for (const int signal : kSignals) {
        struct sigaction action = {};
        ::sigaction(signal, nullptr, &action);
        if (action.sa_handler == handleSignal) {
            ::signal(signal, SIG_DFL);
        }
    }
    const unsigned char end = 0;
    [[maybe_unused]] const ssize_t written = ::write(m_pipe[1], &end, 1);
    m_watcher.join();
    signalPipe = -1;
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}

int Interruption::exitStatus() const
{
    const int signal = m_signal;
    return signal == 0 ? 0 : kExitStatusOfSignals + signal;
}

void Interruption::watch()
{
    const int signal = nextByte(m_pipe[0], kAnyTime);
    if (signal <= 0) {
        return;
    }
    m_signal = signal;
    m_stop.request_stop();
    const int patienceMs = m_patience == Patience::Unlimited ? kAnyTime : kPatienceMs;
    // Patience is over, or a second signal came, which is of another kind than the first.
    if (nextByte(m_pipe[0], patienceMs) != 0) {
        ::_exit(kExitStatusOfSignals + signal);
    }
}

} // namespace cli
