#pragma once

#include "tracedrun.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

/**
 * Operations on files of which something fails or that are killed, and the judgement of what they
 * leave, by the hashes of all contents: nothing that existed may be gone, and no success may be
 * reported that is none.
 *
 * Thread: Any thread, blocking.
 */
namespace faultmatrix {

/** One way of using the driver. */
struct Scenario
{
    QString operation; ///< "delete", "move" or "copy".
    bool toOtherFileSystem = false;
    bool destinationTaken = false;
    /** What the file systems cannot do, as faults that strike each time. */
    QStringList lacking;
    /** Whether the file system knows no files without a name. */
    bool noUnnamedFiles = false;

    QString name() const;
};

/** Every scenario. */
QList<Scenario> scenarios();

/** The errors that every system call of an operation is made to fail with. */
const QStringList& errors();

/** A system call to fail, once or from then on. */
struct Fault
{
    tracedrun::Call call;
    QString error;
    bool forGood = false;
    /** Without the call it is not known whether the new file, or its name, has reached the disk. */
    bool concernsFlush = false;

    QString inWords() const;
};

/** The folders that a case uses: each is empty before and emptied after it. */
struct Folders
{
    QString here;
    QString other;
};

/** Counts of what came out, and the words for whatever should not have. */
struct Tally
{
    int cases = 0;
    int fired = 0;
    int lost = 0;
    int falseSuccesses = 0;
    int notAsBefore = 0; ///< Failures reported after one fault that left something behind.
    int leftOver = 0;    ///< Files left behind by a killed program or where removing fails, too.
    QStringList complaints;

    Tally& operator+=(const Tally& other);
    QString text() const;
    bool isClean() const
    {
        return cases > 0 && fired == cases && lost == 0 && falseSuccesses == 0 && notAsBefore == 0;
    }
};

/** The faults that imitate what the file systems of \a scenario lack. */
QStringList lackingIn(const Scenario& scenario, const Folders& folders);

/** Every fault of a scenario: each of its calls with each error, once and for good. */
QList<Fault> faultsOf(const Scenario& scenario, const QStringList& lacking, const Folders& folders);

/** Runs one case. */
Tally runCase(const Scenario& scenario, const QStringList& lacking, const Fault& fault,
              const Folders& folders);

/** How many files a killed run moves or copies. */
constexpr int kKilledFiles = 12;

/** The calls of a run over kKilledFiles files, and how long it takes. */
struct Course
{
    QList<tracedrun::Call> calls;
    qint64 microseconds = 0;
};
Course courseOf(const Scenario& scenario, const Folders& folders);

/** Kills a run over kKilledFiles files when it makes \a call. */
Tally killAtCall(const Scenario& scenario, const tracedrun::Call& call, const Folders& folders);

/**
 * Kills a run over kKilledFiles files, which nothing slows down, \a microseconds after its start;
 * earlier if it has ended by then.
 */
Tally killAtTime(const Scenario& scenario, qint64 microseconds, const Folders& folders);

} // namespace faultmatrix
