#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

/** What a run of the program gave. */
struct CliRun
{
    /** -1 when it crashed or did not end. */
    int exitStatus = -1;
    QByteArray output;
    QByteArray errors;

    /** The output as JSON; empty if it is none. */
    QJsonObject json() const;
    /** The groups of the JSON output as indented text, as the window's rows are printed. */
    QString treeText(const QString& prefix = {}) const;
    /** Each pair of reference and duplicate as "first = second", the two and the pairs sorted. */
    QStringList unorderedPairs(const QString& prefix = {}) const;
};

/** Runs the program with \a arguments, in \a folder where one is given, until it ends. */
CliRun runCli(const QStringList& arguments, const QString& folder = {},
              const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

/** Runs the program under strace with \a options, which writes the file \a trace. */
CliRun runCliTraced(const QString& trace, const QStringList& options, const QStringList& arguments);

/** Starts the program with \a arguments; ends the test if it does not start. */
void startCli(QProcess& process, const QStringList& arguments);
