#include "cli/message.h"

#include "cli/report.h"

#include <cstdio>

namespace cli {

void printMessage(const QString& message)
{
    std::fprintf(stderr, "quorvel-cli: %s\n", qUtf8Printable(printable(message)));
}

} // namespace cli
