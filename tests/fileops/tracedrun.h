#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

/** Runs of fileops_driver under strace, which makes chosen system calls fail or kills the driver.
 */
namespace tracedrun {

/** A system call of the operation itself. */
struct Call
{
    QByteArray name;
    int number = 0; ///< Counted from 1 among the calls of this name in the whole run.
    QByteArray line;
};

/** How a run ended. */
struct Result
{
    int exitCode = -1;      ///< Of the driver; -1 if it was killed.
    bool killed = false;    ///< By SIGKILL.
    QByteArray output;      ///< What the driver printed.
    QByteArray trace;       ///< The system calls, one a line.
    qsizetype injected = 0; ///< How many of them were made to fail.

    /**
     * The number, counted from 1, of the first \a systemCall in the line that is the first to
     * contain \a landmark, or after it; 0 if there is none. Runs of one program make the same calls
     * in the same order, so this is the call to make fail in the next one.
     */
    int numberOfCall(const QByteArray& systemCall, const QByteArray& landmark) const;

    /** What the operation called, in order, without what the driver printed. */
    QList<Call> operationCalls() const;
};

/** Whether strace is installed and may trace; why not otherwise. */
bool isPossible(QString* reason);

/**
 * Runs the driver with \a arguments under the \a faults, each in strace's own words, such as
 * "write:error=ENOSPC:when=3" or "fsync:signal=KILL".
 */
Result run(const QStringList& arguments, const QStringList& faults);

/**
 * Runs the driver as run() does, stops it when it has made call number \a number of \a systemCall,
 * calls \a meanwhile, and continues the driver. Does not call \a meanwhile if the driver ends, or
 * hangs, before.
 */
Result runStopped(const QStringList& arguments, const QStringList& faults,
                  const QString& systemCall, int number, const std::function<void()>& meanwhile);

} // namespace tracedrun
