#pragma once

#include "cli/commandline.h"
#include "cli/optionparser.h"

namespace cli {

/**
 * What the parsers of the commands that find files and fingerprint them share.
 * Requires: an application object. Thread: Reentrant: one object per thread.
 */
class FileOptionParser : protected OptionParser
{
protected:
    /** For a command whose arguments are folders to search. */
    explicit FileOptionParser(const QString& description);

    /** Sets what all these commands have in common. Errors: throws InvalidUsage. */
    void takeFileOptions(FileOptions& options) const;
    /** \a names as those of folders. Errors: throws InvalidUsage if one is empty. */
    static QStringList folderNames(const QStringList& names);

    const QCommandLineOption exclude;
    const QCommandLineOption ext;
    const QCommandLineOption jobs;
    const QCommandLineOption store;
    const QCommandLineOption verbose;

private:
    QStringList patterns() const;
    QStringList endings() const;
};

} // namespace cli
