// Moves the duplicates of a result, or moves them back, so that a test can run it under a tracer
// that makes system calls fail, and can kill it.
//
// Usage: actions_driver apply <result> <folder> <journal>
//        actions_driver undo <journal>
// Exits with 0 if nothing was left alone, 1 if something was, 2 on wrong usage, 3 on an error, which
// is printed. Asks for the file "operation begins" before and "operation ends" after the operation,
// which marks its own system calls in a trace.

#include "actions/actionerror.h"
#include "actions/apply.h"
#include "actions/searchresult.h"
#include "actions/undo.h"

#include <QFile>

#include <cstdio>
#include <unistd.h>

namespace {

/** Leaves a mark in the trace. */
void mark(const char* place)
{
    static_cast<void>(::access(place, F_OK));
}

actions::Counts run(const QStringList& arguments)
{
    const actions::Listener ignore = [](const actions::HandledFile&) {};
    if (arguments.size() == 2) {
        return actions::undo(arguments.at(1), ignore, {});
    }
    QFile file(arguments.at(1));
    static_cast<void>(file.open(QFile::ReadOnly));
    return actions::apply(actions::readSearchResult(file.readAll()),
                          {arguments.at(2), arguments.at(3), {}}, ignore, {});
}

} // namespace

int main(int count, char** values)
{
    QStringList arguments;
    for (int i = 1; i < count; ++i) {
        arguments.append(QFile::decodeName(values[i]));
    }
    if (arguments.size() != 2 && arguments.size() != 4) {
        return 2;
    }
    int status = 0;
    mark("operation begins");
    try {
        status = run(arguments).leftAlone > 0 ? 1 : 0;
    } catch (const actions::ActionError& error) {
        std::puts(qUtf8Printable(error.message));
        std::fflush(stdout);
        status = 3;
    }
    mark("operation ends");
    return status;
}
