#pragma once

#include <chrono>

/**
 * While it exists, removing a file and flushing one to the disk take this much longer in this
 * process: a fast disk must not finish an operation before the test has got to what it does
 * meanwhile.
 */
class SlowDisk
{
public:
    explicit SlowDisk(std::chrono::milliseconds delay = std::chrono::milliseconds(5));
    ~SlowDisk();

    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;
};
