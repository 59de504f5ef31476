#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>
#include <QStringList>

namespace cli {

/** An invalid command line; thrown. */
struct InvalidUsage
{
    QString reason;
};

/** \a name as that of a file: Qt reads a leading colon as the mark of built-in resources. */
QString asFileName(const QString& name);
QStringList asFileNames(QStringList names);

/**
 * What the parsers of all commands share.
 * Requires: an application object. Thread: Reentrant: one object per thread.
 */
class OptionParser
{
protected:
    explicit OptionParser(const QString& description);

    /** Parses \a arguments, the program's name included. Errors: throws InvalidUsage. */
    void parseOptions(const QStringList& arguments);
    /** The value of \a option, from \a least to \a most. Errors: throws InvalidUsage. */
    int number(const QCommandLineOption& option, int least, int most) const;
    /** The value of \a option; empty if it is not given. Errors: throws InvalidUsage. */
    QString fileName(const QCommandLineOption& option) const;
    /** The help, with \a usage in place of the program's own line, and \a further at its end. */
    QString helpText(const QString& usage, const QString& further) const;

    static QCommandLineOption option(const QStringList& names, const QString& description,
                                     const char* value = nullptr);

    QCommandLineParser m_parser;

    const QCommandLineOption quiet;
    const QCommandLineOption help;
};

} // namespace cli
