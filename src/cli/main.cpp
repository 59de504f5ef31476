#include "cli/program.h"

#include <QCoreApplication>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <unistd.h>

namespace {

/**
 * File names are UTF-8 in any locale, as in a nightly job without an environment. Qt does the same,
 * but prints a warning.
 */
void requireUtf8Locale()
{
    std::setlocale(LC_ALL, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
        ::setenv("LC_ALL", "C.UTF-8", 1);
    }
}

/**
 * Opens the standard streams that are closed, as in some jobs: the next file opened would get the
 * number of such a stream, and with it all that is written to it.
 */
void keepStandardStreamsApart()
{
    int descriptor = 0;
    do {
        // Open for reading only, so that writing fails as it does on a closed stream.
        descriptor = ::open("/dev/null", O_RDONLY);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    keepStandardStreamsApart();
    requireUtf8Locale();
    const QCoreApplication application(argc, argv);
    return cli::run(QCoreApplication::arguments());
}
