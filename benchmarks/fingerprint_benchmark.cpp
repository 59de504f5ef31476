// Fingerprints files as the program does, and prints what that took.
//
//   fingerprint_benchmark [-j THREADS] [-r REPEATS] FILE...

#include "search/fingerprintcollection.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

/** What the process holds in memory now. */
double residentKib()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    const bool open = file.open(QIODevice::ReadOnly);
    constexpr double kKibPerPage = 4.0;
    return open ? file.readAll().split(' ').value(1).toDouble() * kKibPerPage : 0.0;
}

/** The value of the option at the front of \a arguments, taken away; \a otherwise without one. */
int takeOption(QStringList& arguments, const char* option, int otherwise)
{
    if (arguments.value(0) != QLatin1String(option)) {
        return otherwise;
    }
    const int value = arguments.value(1).toInt();
    arguments.remove(0, std::min<qsizetype>(2, arguments.size()));
    return value;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QStringList files = QCoreApplication::arguments().mid(1);
    const int threadCount = takeOption(files, "-j", 1);
    const int repeats = takeOption(files, "-r", 1);

    const int tenth = repeats / 10;
    const auto all = static_cast<double>(files.size() * repeats);
    double residentAfterTenth = 0.0;
    search::CollectionProgress last;
    QElapsedTimer timer;
    timer.start();
    double seconds = 0.0;
    qsizetype failures = 0;
    for (int i = 0; i < repeats; ++i) {
        const search::Collection collection = search::fingerprintFiles(
            files, {threadCount,
                    nullptr,
                    [&last](const search::CollectionProgress& now) { last = now; },
                    {}});
        seconds += last.secondsOfAudioDecoded;
        failures += collection.failures.size();
        if (i == tenth) {
            residentAfterTenth = residentKib();
        }
    }
    const double elapsed = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    const double processor = static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
    std::printf("%.0f files, %lld failed, %.2f hours of audio: %.2f s, processor %.2f s\n", all,
                static_cast<long long>(failures), seconds / 3600.0, elapsed, processor);
    if (repeats > 1) {
        const double later = all - static_cast<double>(files.size() * (tenth + 1));
        std::printf("memory: %.0f KiB, %.0f KiB after a tenth: %.0f bytes for each later file\n",
                    residentKib(), residentAfterTenth,
                    (residentKib() - residentAfterTenth) * 1024.0 / later);
    }
    return 0;
}
