#pragma once

#include <stop_token>
#include <utility>

namespace fileops {

/**
 * A worker function that returns false, without a call, once a stop was requested. It holds the
 * stop flag and the function by value, and so refers to no object of its caller.
 *
 * Thread: that of the function.
 */
template <typename Operand> struct UnlessStopped
{
    std::stop_token stop;
    bool (*function)(const Operand&);

    // Clang before version 16 does not initialise aggregates in parentheses.
    UnlessStopped(std::stop_token flag, bool (*worker)(const Operand&))
        : stop(std::move(flag))
        , function(worker)
    {
    }

    bool operator()(const Operand& operand) const
    {
        return !stop.stop_requested() && function(operand);
    }
};

} // namespace fileops
