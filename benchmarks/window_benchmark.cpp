// Prints how long the window's event loop stalls during a run, and how quickly a run is cancelled.
// Usage: window_benchmark [number of files, 500 unless given]

#include "windowmeasurement.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <chrono>
#include <random>

namespace {

using benchmarks::compareWithinGroup;
using benchmarks::find;
using benchmarks::spinUntil;
using benchmarks::StallMeter;
using benchmarks::wavHeader;
using benchmarks::writeTune;
using std::chrono::milliseconds;

QTextStream& out()
{
    static QTextStream stream(stdout);
    return stream;
}

/** A file of ten hours whose silence takes no room on the disk. */
bool writeTenHours(const QString& path)
{
    constexpr quint32 kSampleRateHz = 44100;
    constexpr quint32 kBytes = kSampleRateHz * 2 * 36000;
    QFile file(path);
    const QByteArray header = wavHeader(kSampleRateHz, 16, kBytes);
    return file.open(QIODevice::WriteOnly) && file.write(header) == header.size() &&
           file.resize(qint64(kBytes) + header.size());
}

void measureStalls(MainWindow& window, int fileCount)
{
    QTemporaryDir folder;
    for (int i = 0; i < fileCount; ++i) {
        // Every other file repeats the one before it, so that there is something to show.
        writeTune(folder.filePath(QStringLiteral("%1.wav").arg(i)), static_cast<unsigned>(i / 2));
    }
    StallMeter meter;
    QElapsedTimer timer;
    compareWithinGroup(window, folder.path());
    timer.start();
    meter.restart();
    const auto* label = find<QLabel>(window, "duplicateFoundLabel");
    const bool done = spinUntil([label] { return label->isVisible(); }, std::chrono::minutes(10));
    out() << "run over " << fileCount << " files: " << timer.elapsed() << " ms, "
          << (done ? label->text() : QStringLiteral("not finished")) << '\n'
          << "longest stall of the event loop: " << meter.longestMs() << " ms\n";
    out().flush();
}

/** Starts a run over \a folder and resets it at a few moments; prints how long each reset took. */
void measureCancel(MainWindow& window, const QString& what, const QString& folder)
{
    std::mt19937 random(1);
    QList<double> latenciesMs;
    for (int round = 0; round < 10; ++round) {
        compareWithinGroup(window, folder);
        const milliseconds moment(20 + static_cast<int>(random() % 400));
        QElapsedTimer timer;
        timer.start();
        spinUntil([&] { return timer.hasExpired(moment.count()); }, std::chrono::minutes(1));
        timer.restart();
        window.newComparison();
        latenciesMs.append(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(latenciesMs.begin(), latenciesMs.end());
    out() << "cancelling " << what << ": median "
          << QString::number(latenciesMs.at(latenciesMs.size() / 2), 'f', 1) << " ms, longest "
          << QString::number(latenciesMs.last(), 'f', 1) << " ms\n";
    out().flush();
}

void measureCancels(MainWindow& window)
{
    // Keeps the loop turning while nothing else happens.
    const StallMeter meter;
    QTemporaryDir longFile;
    writeTenHours(longFile.filePath(QStringLiteral("ten hours.wav")));
    measureCancel(window, QStringLiteral("the decoding of a ten-hour file"), longFile.path());

    constexpr int kManyFiles = 200000;
    QTemporaryDir hugeFolder;
    for (int i = 0; i < kManyFiles; ++i) {
        QFile file(hugeFolder.filePath(QStringLiteral("%1.txt").arg(i)));
        if (!file.open(QIODevice::WriteOnly)) {
            break;
        }
    }
    measureCancel(window, QStringLiteral("the listing of %1 files").arg(kManyFiles),
                  hugeFolder.path());
}

} // namespace

int main(int argc, char* argv[])
{
    benchmarks::preferNoScreen();
    const QApplication application(argc, argv);
    const benchmarks::OwnSettings settings;
    const int fileCount = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 500;

    MainWindow window;
    window.show();
    measureStalls(window, fileCount);
    measureCancels(window);
    return 0;
}
