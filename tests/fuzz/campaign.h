#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

/** Runs very many cases, each of which may crash, hang or take all memory, and counts them. */
namespace fuzz {

/** The options of a harness's command line. */
struct Options
{
    quint64 seed = 1;
    /** The number of the first case; cases are numbered by what they are made of, not by time. */
    quint64 firstCase = 0;
    /** 0: no limit. */
    quint64 cases = 0;
    /** Of wall time; 0: no limit. */
    double minutes = 0.0;
    /** Where the content of a case that failed is kept; the working directory by default. */
    QString findings;
};

/** One harness: what it does, apart from surviving it. */
struct Harness
{
    QString name;
    /** How many cases one process may do: more would add up what the cases leave behind. */
    quint64 casesPerProcess = 5000;
    /** Runs in a process of its own; a failure shows by the end of that process alone. */
    std::function<void(quint64 seed, quint64 caseNumber)> runCase;
    /** What a case consists of, to be kept where it fails. */
    std::function<QByteArray(quint64 seed, quint64 caseNumber)> contentOf;
};

/**
 * Reads --seed, --first, --cases, --minutes and --findings. Errors: prints the usage and ends the
 * program for anything else, and where nothing would end the run.
 */
Options parseOptions(const QStringList& arguments);

/**
 * Runs cases one after another in child processes, prints each failure with the command that does
 * it again, a line of progress every minute, and in the end cases, cases a second, crashes, hangs
 * and the largest memory. A case hangs when it has used 5 seconds of processor time, or 60 of the
 * clock's; a process is allowed 2 GiB of address space (of memory, with the address sanitizer).
 * Returns the exit code: 0 when no case failed, 1 otherwise.
 */
int run(const Harness& harness, const Options& options);

/** For QTemporaryDir: in memory where the system offers that, since cases write many small files.
 */
QString folderTemplate();

/** Ends the process of the current case as a failure, with the reason, unless \a condition holds.
 */
void require(bool condition, const QByteArray& reason);

} // namespace fuzz
