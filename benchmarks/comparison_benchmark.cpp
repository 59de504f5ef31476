// How long the comparison of a large collection takes, and how much memory, without decoding
// anything but the material: seeded records that are spliced together from the music of a folder,
// with the errors of its re-encodings (tests/support/recordmix.h).
//
//   comparison_benchmark [--scan] [--kernel NAME] MIX RECORDS [THREADS [THRESHOLD [FOLDER]]]
//
// MIX is songs, radio, effects or noise; without FOLDER it is noise. The mix "tracks" is the music
// of FOLDER itself, whatever RECORDS is, all of it given one length, so that all pairs are
// compared: it shows how many the bound rules out of real ones. --scan does without the bound, and
// --kernel takes another kernel than the fastest.

#include "compare/kernelchoice.h"
#include "fingerprint/audiofilediscovery.h"
#include "search/duplicatesearch.h"
#include "search/fingerprintcollection.h"
#include "support/recordmix.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <ctime>
#include <map>
#include <sys/resource.h>

namespace {

QList<FingerprintRecord> recordsIn(const QString& folder)
{
    const QStringList files =
        folder.isEmpty() ? QStringList() : fingerprint::findAudioFiles({folder});
    return search::fingerprintFiles(files, {2, nullptr, {}, {}}).records;
}

QList<FingerprintRecord> tracksIn(const QString& folder)
{
    constexpr int kOneLengthMs = 180000;
    QList<FingerprintRecord> records = recordsIn(folder);
    for (FingerprintRecord& record : records) {
        std::get<2>(record) = kOneLengthMs;
    }
    return records;
}

long peakMemoryMib()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

bool chooseKernel(const QString& name)
{
    const auto* kernel = compare::similarityKernelNamed(name.toStdString());
    if (kernel == nullptr || !kernel->supported()) {
        return false;
    }
    compare::setSimilarityKernelForTests(kernel);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("MIX"),
                                 QStringLiteral("songs, radio, effects, noise or tracks"));
    parser.addPositionalArgument(QStringLiteral("RECORDS"), QStringLiteral("how many"));
    parser.addPositionalArgument(QStringLiteral("THREADS"), QStringLiteral("1"));
    parser.addPositionalArgument(QStringLiteral("THRESHOLD"), QStringLiteral("70"));
    parser.addPositionalArgument(QStringLiteral("FOLDER"), QStringLiteral("of real music"));
    parser.addOption({QStringLiteral("kernel"), QStringLiteral("table, popcnt, avx2 or avx512"),
                      QStringLiteral("NAME")});
    parser.addOption({QStringLiteral("scan"), QStringLiteral("without the bound")});
    parser.process(application);
    const QStringList arguments = parser.positionalArguments();
    const std::map<QString, recordmix::Mix> mixes = {
        {QStringLiteral("songs"), recordmix::Mix::Songs},
        {QStringLiteral("radio"), recordmix::Mix::Radio},
        {QStringLiteral("effects"), recordmix::Mix::Effects},
        {QStringLiteral("noise"), recordmix::Mix::Noise}};
    const auto mix = mixes.find(arguments.value(0));
    const int threadCount = arguments.value(2, QStringLiteral("1")).toInt();
    const int threshold = arguments.value(3, QStringLiteral("70")).toInt();
    const bool isTracks = arguments.value(0) == u"tracks";
    if ((mix == mixes.end() && !isTracks) || arguments.value(1).toInt() <= 0 ||
        (parser.isSet(QStringLiteral("kernel")) &&
         !chooseKernel(parser.value(QStringLiteral("kernel"))))) {
        parser.showHelp(2);
    }

    const QList<FingerprintRecord> records =
        isTracks ? tracksIn(arguments.value(4))
                 : recordmix::makeRecords(arguments.at(1).toInt(), mix->second,
                                          recordmix::materialOf(recordsIn(arguments.value(4))), 1);
    const auto count = static_cast<double>(records.size());
    const long memoryBefore = peakMemoryMib();
    QElapsedTimer timer;
    timer.start();
    const std::clock_t processorBefore = std::clock();
    search::ComparisonOptions options{threshold, threadCount, {}, {}};
    options.boundFirst = !parser.isSet(QStringLiteral("scan"));
    const search::Comparison comparison = search::compareWithin(records, options);
    const double processorSeconds =
        static_cast<double>(std::clock() - processorBefore) / CLOCKS_PER_SEC;
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;

    qsizetype duplicates = 0;
    for (const auto& matches : comparison.duplicates) {
        duplicates += matches.size();
    }
    const double allPairs = 0.5 * count * (count - 1.0);
    const auto compared = static_cast<double>(comparison.comparedPairs);
    std::printf("%s, kernel %s, threshold %d, threads %d%s\n", qPrintable(arguments.at(0)),
                compare::similarityKernel().name, threshold, threadCount,
                options.boundFirst ? "" : ", without the bound");
    std::printf("records                %.0f\n", count);
    std::printf("duplicates found       %lld\n", static_cast<long long>(duplicates));
    std::printf("pairs compared of all  %.0f of %.0f (%.2f %%)\n", compared, allPairs,
                100.0 * compared / allPairs);
    std::printf("compared word by word  %lld\n", static_cast<long long>(comparison.scannedPairs));
    std::printf("time                   %.2f s (processor %.2f s)\n", seconds, processorSeconds);
    std::printf("pairs a second         %.0f compared, %.0f of all\n", compared / seconds,
                allPairs / seconds);
    std::printf("peak memory            %ld MiB (%ld MiB of it the records)\n", peakMemoryMib(),
                memoryBefore);
    return 0;
}
