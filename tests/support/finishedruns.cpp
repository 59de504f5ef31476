#include "support/finishedruns.h"

#include <QFutureWatcher>

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kPause{5};
std::atomic<bool> runsEndBeforeTheyAreWatched = false;

/** The function of the library, by the name that the linker knows it by. */
template <typename Function> Function* original(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The program's own functions stand before those of the library, which the headers call.
void QFutureWatcherBase::connectOutputInterface()
{
    static auto* const connectIt =
        original<void(QFutureWatcherBase*)>("_ZN18QFutureWatcherBase22connectOutputInterfaceEv");
    if (runsEndBeforeTheyAreWatched) {
        futureInterface().waitForFinished();
    }
    connectIt(this);
}

void QFutureInterfaceBase::runContinuation() const
{
    static auto* const runIt = original<void(const QFutureInterfaceBase*)>(
        "_ZNK20QFutureInterfaceBase15runContinuationEv");
    if (runsEndBeforeTheyAreWatched) {
        std::this_thread::sleep_for(kPause); // unavoidable: whoever attaches needs the time
    }
    runIt(this);
}

FinishedRuns::FinishedRuns()
{
    runsEndBeforeTheyAreWatched = true;
}

FinishedRuns::~FinishedRuns()
{
    runsEndBeforeTheyAreWatched = false;
}
