#include "cli/searchcommand.h"

#include <QCoreApplication>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <unistd.h>

namespace {

/**
 * Names of files are taken for UTF-8 whatever the locale, also in a job that runs at night with
 * next to no environment. Qt does the same, but tells standard error about it.
 */
void requireUtf8Locale()
{
    std::setlocale(LC_ALL, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
        ::setenv("LC_ALL", "C.UTF-8", 1);
    }
}

/**
 * Takes the numbers of standard streams that are closed, as some jobs start with: the next file
 * opened would get them, and with them what is written to the stream.
 */
void keepStandardStreamsApart()
{
    int descriptor = 0;
    do {
        // Nothing can be written to what is only open for reading, which is what closed means.
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
