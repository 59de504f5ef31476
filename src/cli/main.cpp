#include "cli/searchcommand.h"

#include <QCoreApplication>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>

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

} // namespace

int main(int argc, char* argv[])
{
    requireUtf8Locale();
    const QCoreApplication application(argc, argv);
    return cli::run(QCoreApplication::arguments());
}
