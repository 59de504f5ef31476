#pragma once

#include <stop_token>
#include <utility>

namespace fileops {

/**
 * A worker function that leaves its file alone once a stop was requested: it then answers false
 * without a call. It carries the stop flag and the function by value, so it refers to nothing that
 * belongs to whoever started the work.
 *
 * Thread: any thread. Reentrant if the function is.
 */
template <typename Operand> struct UnlessStopped
{
    std::stop_token stop;
    bool (*function)(const Operand&);

    // Written out for Clang before version 16, which initialises no aggregate in parentheses.
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
