// Where the time of a large run goes in the real window.
//
//   windowscale_benchmark steps [FILES]  each step of a run over FILES (3,000) within one group
//   windowscale_benchmark rows [ROWS]    a tree of ROWS (20,000): the filter, then inserting and
//                                        expanding

#include "results/duplicatefilter.h"
#include "settings/settingsstore.h"
#include "windowmeasurement.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QTemporaryDir>
#include <QTreeWidget>

#include <cstdio>
#include <sys/resource.h>

namespace {

using benchmarks::find;
using benchmarks::spinUntil;
using benchmarks::StallMeter;

constexpr std::chrono::minutes kLimit(60);

double secondsOf(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

long peakMemoryMib()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

/** What reading the threshold costs, as each compared pair does once. */
double secondsPerSettingsRead()
{
    constexpr int kReads = 20000;
    QElapsedTimer timer;
    timer.start();
    int sum = 0;
    for (int i = 0; i < kReads; ++i) {
        sum += settings::similarityThreshold();
    }
    return sum < 0 ? 0.0 : secondsOf(timer) / kReads;
}

bool waitForResult(const MainWindow& window)
{
    const auto* label = find<QLabel>(window, "duplicateFoundLabel");
    return spinUntil([label] { return label->isVisible(); }, kLimit);
}

void measureSteps(MainWindow& window, int fileCount)
{
    const QTemporaryDir folder;
    for (int i = 0; i < fileCount; ++i) {
        // Every other file repeats the one before it, so that there is something to show.
        benchmarks::writeTune(folder.filePath(QStringLiteral("%1.wav").arg(i)),
                              static_cast<unsigned>(i / 2));
    }
    const double settingsRead = secondsPerSettingsRead();

    double listed = 0.0;
    double fingerprinted = 0.0;
    double compared = 0.0;
    qint64 stallUntilComparedMs = 0;
    StallMeter meter;
    QElapsedTimer timer;
    QObject::connect(
        find<QProgressBar>(window, "progressBar"), &QProgressBar::valueChanged, &meter,
        [&](int value) {
            double& moment = value >= 100 ? compared : value >= 80 ? fingerprinted : listed;
            moment = moment == 0.0 && value > 0 ? secondsOf(timer) : moment;
            stallUntilComparedMs = meter.longestMs();
        });
    benchmarks::compareWithinGroup(window, folder.path());
    timer.start();
    meter.restart();
    if (!waitForResult(window)) {
        std::puts("not finished");
        return;
    }
    const double shown = secondsOf(timer);
    const double pairs = 0.5 * fileCount * (fileCount - 1.0);
    std::printf("files within one group          %d (%.0f pairs)\n", fileCount, pairs);
    std::printf("listing, until the first files  %.2f s\n", listed);
    std::printf("fingerprints (10 s each)        %.2f s\n", fingerprinted - listed);
    std::printf("list of pairs, and comparing    %.2f s\n", compared - fingerprinted);
    std::printf("filter and tree                 %.2f s\n", shown - compared);
    std::printf("reads of the settings store     %.1f us each, %.2f s for all pairs (%.0f %% of "
                "comparing)\n",
                settingsRead * 1e6, settingsRead * pairs,
                100.0 * settingsRead * pairs / (compared - fingerprinted));
    std::printf("longest stall of the window     %lld ms (%lld ms until all was compared)\n",
                static_cast<long long>(meter.longestMs()),
                static_cast<long long>(stallUntilComparedMs));
    std::printf("peak memory                     %ld MiB\n", peakMemoryMib());
}

/** A map of \a references with \a duplicates entries each, and some that the filter drops. */
DuplicateMap largeMap(int references, int duplicates)
{
    DuplicateMap map;
    for (int i = 0; i < references; ++i) {
        auto& entries = map[QStringLiteral("/music/%1").arg(i, 8, 10, QLatin1Char('0'))];
        for (int k = 0; k < duplicates; ++k) {
            entries.append({QStringLiteral("/music/copy %1").arg(i / 2 * duplicates + k), 90});
        }
    }
    return map;
}

void measureFilter(int rows)
{
    constexpr int kDuplicates = 4;
    for (const int count : {rows, 2 * rows, 4 * rows}) {
        const DuplicateMap map = largeMap(count / kDuplicates, kDuplicates);
        QElapsedTimer timer;
        timer.start();
        const DuplicateMap shown = results::filterForDisplay(map);
        const double seconds = secondsOf(timer);
        std::printf("filter of %7d entries        %.4f s, %.2f us an entry\n", count, seconds,
                    seconds * 1e6 / count);
        if (shown.isEmpty()) {
            std::puts("nothing shown");
        }
    }
}

void measureRows(MainWindow& window, int rows)
{
    constexpr int kReferences = 100;
    constexpr quint32 kShortTuneSeconds = 4;
    const QTemporaryDir folder;
    const QString groupA = folder.filePath(QStringLiteral("a"));
    const QString groupB = folder.filePath(QStringLiteral("b"));
    QDir().mkpath(groupA);
    QDir().mkpath(groupB);
    for (int i = 0; i < kReferences; ++i) {
        const QString reference = QStringLiteral("%1/%2.wav").arg(groupA).arg(i);
        benchmarks::writeTune(reference, static_cast<unsigned>(i), kShortTuneSeconds);
        for (int k = 0; k < rows / kReferences; ++k) {
            QFile::link(reference, QStringLiteral("%1/%2-%3.wav").arg(groupB).arg(i).arg(k));
        }
    }
    driver::listFolder(&window, 'A', groupA);
    driver::listFolder(&window, 'B', groupB);
    benchmarks::findDuplicates(window);
    if (!waitForResult(window)) {
        std::puts("not finished");
        return;
    }

    auto* tree = find<QTreeWidget>(window, "treeWidget");
    tree->clear();
    QElapsedTimer timer;
    timer.start();
    window.showComparisonResults();
    QApplication::processEvents();
    const double seconds = secondsOf(timer);
    int shown = tree->topLevelItemCount();
    for (int i = 0; i < tree->topLevelItemCount(); ++i) {
        shown += tree->topLevelItem(i)->childCount();
    }
    std::printf("rows inserted and expanded      %d in %.3f s, filter and painting included\n",
                shown, seconds);
}

} // namespace

int main(int argc, char* argv[])
{
    benchmarks::preferNoScreen();
    const QApplication application(argc, argv);
    const benchmarks::OwnSettings settings;
    const QString what = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    const int count = argc > 2 ? std::max(1, QString::fromLocal8Bit(argv[2]).toInt()) : 0;

    MainWindow window;
    window.show();
    if (what == QLatin1String("steps")) {
        measureSteps(window, count > 0 ? count : 3000);
    } else if (what == QLatin1String("rows")) {
        measureFilter(count > 0 ? count : 20000);
        measureRows(window, count > 0 ? count : 20000);
    } else {
        std::puts("windowscale_benchmark steps [FILES] | rows [ROWS]");
        return 2;
    }
    return 0;
}
