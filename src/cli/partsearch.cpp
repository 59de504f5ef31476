#include "cli/partsearch.h"

#include "compare/similarity.h"
#include "parts/sharedparts.h"

#include <QElapsedTimer>

namespace cli {

namespace {

std::function<void(double)> shownIn(ProgressLine& line)
{
    QElapsedTimer timer;
    timer.start();
    return [&line, timer](double done) {
        if (!line.isDue()) {
            return;
        }
        QString text =
            QStringLiteral("Looking for parts: %1 %").arg(static_cast<int>(done * 100.0));
        if (done > 0.0) {
            const double seconds = static_cast<double>(timer.elapsed()) / 1000.0;
            text += QStringLiteral(", %1 left").arg(timeText(seconds / done * (1.0 - done)));
        }
        line.show(text);
    };
}

} // namespace

PartList findParts(const QList<FingerprintRecord>& first, const QList<FingerprintRecord>& second,
                   const Options& options, int threshold, ProgressLine& progress,
                   const std::stop_token& stop)
{
    PartList list;
    list.leastLength = options.leastPartLength;
    // Every pair is a duplicate as a whole, or no part can be similar enough.
    if (threshold < 1 || threshold > compare::kLargestSimilarity) {
        return list;
    }
    parts::PartOptions search;
    search.threshold = threshold;
    search.leastLength = options.leastPartLength;
    search.groupSize = options.against.isEmpty() ? 0 : first.size();
    search.threadCount = options.threadCount;
    search.progress = shownIn(progress);
    search.stop = stop;
    const QList<FingerprintRecord> records = first + second;
    const parts::SharedParts found = parts::findSharedParts(records, search);
    list.entries = partEntries(found.parts, records);
    list.commonWords = found.commonWords;
    list.commonPlaces = found.commonPlaces;
    return list;
}

} // namespace cli
