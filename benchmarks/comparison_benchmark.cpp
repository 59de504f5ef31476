// How long the comparison of a large collection takes, and how much memory, without decoding
// anything: seeded records with durations like those of music, one in a hundred of which is a
// damaged copy of another.
//
//   comparison_benchmark [RECORDS [THREADS [THRESHOLD]]]

#include "compare/similaritykernels.h"
#include "search/duplicatesearch.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <sys/resource.h>

namespace {

/** Chromaprint makes a word for each step of 4096/3 samples at 11,025 Hz. */
constexpr double kWordsPerSecond = 11025.0 * 3.0 / 4096.0;
/** Songs have a median of a little less than four minutes; two thirds lie within a factor 1.5. */
constexpr double kMedianSeconds = 225.0;
constexpr double kSpread = 0.4;
constexpr int kOneCopyIn = 100;
/** Bits flipped in a copy, of 256: a similarity of about 90 percent. */
constexpr unsigned kDamage = 13;

QList<quint32> randomWords(std::mt19937& random, double seconds)
{
    QList<quint32> words(static_cast<qsizetype>(seconds * kWordsPerSecond));
    std::generate(words.begin(), words.end(), [&random] { return random(); });
    return words;
}

QList<quint32> damaged(std::mt19937& random, QList<quint32> words)
{
    for (quint32& word : words) {
        for (unsigned bit = 0; bit < 32; ++bit) {
            word ^= (random() & 0xFFU) < kDamage ? 1U << bit : 0U;
        }
    }
    return words;
}

QList<FingerprintRecord> makeRecords(int count)
{
    std::mt19937 random(1);
    std::lognormal_distribution<double> seconds(std::log(kMedianSeconds), kSpread);
    QList<FingerprintRecord> records;
    records.reserve(count);
    for (int i = 0; i < count; ++i) {
        const QString path = QStringLiteral("/music/%1.mp3").arg(i, 8, 10, QLatin1Char('0'));
        if (i > 0 && i % kOneCopyIn == 0) {
            const auto& [originalPath, words, durationMs, rate, channels] =
                records.at(static_cast<qsizetype>(random() % static_cast<unsigned>(i)));
            records.append({path, damaged(random, words), durationMs + 200, rate, channels});
            continue;
        }
        const double duration = std::clamp(seconds(random), 5.0, 7200.0);
        records.append(
            {path, randomWords(random, duration), static_cast<int>(duration * 1000.0), 44100, 2});
    }
    return records;
}

long peakMemoryMib()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

} // namespace

int main(int argc, char** argv)
{
    const auto argument = [&](int index, int otherwise) {
        return index < argc ? std::atoi(argv[index]) : otherwise;
    };
    const int count = argument(1, 20000);
    const int threadCount = argument(2, 1);
    const int threshold = argument(3, 70);

    const QList<FingerprintRecord> records = makeRecords(count);
    const long memoryBefore = peakMemoryMib();
    QElapsedTimer timer;
    timer.start();
    const std::clock_t processorBefore = std::clock();
    const search::Comparison comparison =
        search::compareWithin(records, {threshold, threadCount, {}, {}});
    const double processorSeconds =
        static_cast<double>(std::clock() - processorBefore) / CLOCKS_PER_SEC;
    const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;

    qsizetype duplicates = 0;
    for (const auto& matches : comparison.duplicates) {
        duplicates += matches.size();
    }
    const double allPairs = 0.5 * count * (count - 1.0);
    const auto compared = static_cast<double>(comparison.comparedPairs);
    std::printf("kernel %s, threshold %d, threads %d\n", compare::similarityKernel().name,
                threshold, threadCount);
    std::printf("records                %d\n", count);
    std::printf("duplicates found       %lld\n", static_cast<long long>(duplicates));
    std::printf("pairs compared of all  %.0f of %.0f (%.2f %%)\n", compared, allPairs,
                100.0 * compared / allPairs);
    std::printf("time                   %.2f s (processor %.2f s)\n", seconds, processorSeconds);
    std::printf("pairs a second         %.0f compared, %.0f of all\n", compared / seconds,
                allPairs / seconds);
    std::printf("peak memory            %ld MiB (%ld MiB of it the records)\n", peakMemoryMib(),
                memoryBefore);
    return 0;
}
