#include "slowdisk.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace {

std::atomic<std::chrono::milliseconds> delayOfEachCall{};

/** The function of that name in the library that has it. */
template <typename Function> Function* original(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void waitForTheDisk()
{
    const std::chrono::milliseconds delay = delayOfEachCall;
    if (delay > std::chrono::milliseconds::zero()) {
        std::this_thread::sleep_for(delay); // unavoidable: it is what the test asks for
    }
}

} // namespace

// The program's own functions replace those of the C library, in Qt's calls too.
extern "C" int fsync(int descriptor)
{
    static auto* const flush = original<int(int)>("fsync");
    waitForTheDisk();
    return flush(descriptor);
}

extern "C" int unlink(const char* path)
{
    static auto* const remove = original<int(const char*)>("unlink");
    waitForTheDisk();
    return remove(path);
}

SlowDisk::SlowDisk(std::chrono::milliseconds delay)
{
    delayOfEachCall = delay;
}

SlowDisk::~SlowDisk()
{
    delayOfEachCall = std::chrono::milliseconds::zero();
}
