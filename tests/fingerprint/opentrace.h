#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** The files that a program opens, as the system reports them. */
namespace opentrace {

struct Trace
{
    /** Why there is no trace; empty when there is one. */
    QString obstacle;
    /** Not 0 when the program does not end within a minute. */
    int exitCode = -1;
    QByteArray output;
    /** Every path that was opened or tried, in order, libraries included. */
    QStringList paths;
    /** How often a socket was made. */
    qsizetype sockets = 0;

    /** Those of the paths that lie below \a folder. */
    QStringList below(const QString& folder) const;
};

/** Runs \a program with \a arguments under strace, all its threads and children included. */
Trace run(const QString& program, const QStringList& arguments);

} // namespace opentrace
