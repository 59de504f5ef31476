// Does one kind of operation on files given by name, so that a test can run it under a tracer that
// makes system calls fail, and can kill it.
//
// Usage: fileops_driver delete <path>...
//        fileops_driver move|copy <source> <destination> [<source> <destination>...]
// Prints "true" or "false" per file; exits with 0 if all succeeded, 1 if not, 2 on wrong usage.
// Asks for the file "operation begins" before the first file and "operation ends" after the last,
// which marks the operation's own system calls in a trace, and writes "begins" to standard error if
// the environment has QUORVEL_ANNOUNCE.

#include "fileops/fileoperations.h"

#include <QFile>
#include <QStringList>

#include <cstdio>
#include <unistd.h>

namespace {

/** Leaves a mark in the trace. */
void mark(const char* place)
{
    static_cast<void>(::access(place, F_OK));
}

/** Prints the result of the operation on one file and returns it. */
bool report(bool ok)
{
    std::puts(ok ? "true" : "false");
    std::fflush(stdout);
    return ok;
}

int runAll(const QString& operation, const QStringList& paths)
{
    bool allOk = true;
    if (operation == u"delete") {
        for (const QString& path : paths) {
            allOk = report(fileops::deleteFile(path)) && allOk;
        }
        return allOk ? 0 : 1;
    }
    if ((operation != u"move" && operation != u"copy") || paths.size() % 2 != 0) {
        return 2;
    }
    for (qsizetype i = 0; i < paths.size(); i += 2) {
        const fileops::SourceAndDestination pair(paths.at(i), paths.at(i + 1));
        const bool ok = operation == u"move" ? fileops::moveFile(pair) : fileops::copyFile(pair);
        allOk = report(ok) && allOk;
    }
    return allOk ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        return 2;
    }
    QStringList paths;
    for (int i = 2; i < argc; ++i) {
        paths.append(QFile::decodeName(argv[i]));
    }
    if (qEnvironmentVariableIsSet("QUORVEL_ANNOUNCE")) {
        std::fputs("begins\n", stderr);
    }
    mark("operation begins");
    const int status = runAll(QString::fromLatin1(argv[1]), paths);
    mark("operation ends");
    return status;
}
