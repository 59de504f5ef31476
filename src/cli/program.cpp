#include "cli/program.h"

#include "cli/applycommand.h"
#include "cli/commandline.h"
#include "cli/exitstatus.h"
#include "cli/fingerprintcommand.h"
#include "cli/mergecommand.h"
#include "cli/message.h"
#include "cli/searchcommand.h"

#include <cstdio>
#include <exception>

namespace cli {

namespace {

int showText(const QString& text)
{
    const bool shown =
        std::fputs(text.toUtf8().constData(), stdout) >= 0 && std::fflush(stdout) == 0;
    return shown ? Done : Failed;
}

int runCommand(const CommandLine& line)
{
    switch (line.request) {
    case CommandLine::Request::ShowText:
        return showText(line.text);
    case CommandLine::Request::WrongUsage:
        std::fputs(line.text.toUtf8().constData(), stderr);
        return WrongUsage;
    case CommandLine::Request::Search:
        return runSearch(line.options);
    case CommandLine::Request::Fingerprint:
        return runFingerprint(line.fingerprint);
    case CommandLine::Request::Merge:
        return runMerge(line.merge);
    case CommandLine::Request::Apply:
        return runApply(line.apply);
    case CommandLine::Request::Undo:
        return runUndo(line.undo);
    }
    return Failed;
}

} // namespace

int run(const QStringList& arguments)
{
    try {
        return runCommand(parseCommandLine(arguments));
    } catch (const std::exception& error) {
        printMessage(QString::fromLocal8Bit(error.what()));
        return Failed;
    }
}

} // namespace cli
