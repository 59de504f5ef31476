// How long the search for common parts of a large collection takes, and how much memory, without
// decoding anything but the material: seeded records that are spliced together from the music of a
// folder, with the errors of its re-encodings (tests/support/recordmix.h).
//
//   parts_benchmark songs RECORDS THREADS FOLDER
//   parts_benchmark jingles COUNT THREADS FOLDER
//
// "songs" compares so many songs with each other, "jingles" so many jingles of 20 seconds with 24
// hours of radio in which every tenth of them is played, until the day is full.

#include "fingerprint/audiofilediscovery.h"
#include "parts/sharedparts.h"
#include "search/fingerprintcollection.h"
#include "support/recordmix.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSet>

#include <cstdio>
#include <ctime>
#include <sys/resource.h>
#include <utility>

namespace {

using Records = QList<FingerprintRecord>;
using recordmix::Words;

constexpr int kJingleWords = 140;
constexpr qsizetype kWordsOfDay = 697000;
constexpr int kPlayedEach = 10;

recordmix::Material materialIn(const QString& folder)
{
    const QStringList files = fingerprint::findAudioFiles({folder});
    return recordmix::materialOf(search::fingerprintFiles(files, {2, nullptr, {}, {}}).records);
}

long peakMemoryMib()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

/** The day, which is one record, and the jingles behind it. */
struct Radio
{
    Records records;
    qsizetype playedJingles = 0;
};

/** A day of songs, with a jingle behind each, every tenth of \a count; then the jingles. */
Radio radioAndJingles(int count, const recordmix::Material& material)
{
    Records jingles = recordmix::makeRecords(count, recordmix::Mix::Songs, material, 2);
    for (FingerprintRecord& jingle : jingles) {
        Words& words = std::get<1>(jingle);
        words = words.mid(words.size() / 3, kJingleWords);
        std::get<2>(jingle) = 20000;
    }
    const Records songs =
        recordmix::makeRecords(count / kPlayedEach, recordmix::Mix::Songs, material, 3);
    Words day;
    qsizetype error = 0;
    qsizetype i = 0;
    for (; i < songs.size() && day.size() < kWordsOfDay; ++i) {
        day += std::get<1>(songs.at(i));
        for (const quint32 word : std::get<1>(jingles.at(i * kPlayedEach))) {
            const bool hasErrors = !material.errors.isEmpty();
            day += word ^ (hasErrors ? material.errors.at(error++ % material.errors.size()) : 0U);
        }
    }
    Records all = {{QStringLiteral("/radio"), day, 86400000, 44100, 2}};
    return {all + jingles, i};
}

/** How many of the jingles that were played are found in the day. */
qsizetype foundJingles(const QList<parts::SharedPart>& parts, qsizetype played)
{
    QSet<int> found;
    for (const parts::SharedPart& part : parts) {
        // The first record is the day.
        const int jingle = part.second - 1;
        if (jingle % kPlayedEach == 0 && jingle / kPlayedEach < played) {
            found.insert(jingle);
        }
    }
    return found.size();
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString what = arguments.value(1);
    const int count = arguments.value(2).toInt();
    if ((what != u"songs" && what != u"jingles") || count <= 0 || arguments.size() < 5) {
        std::fputs("usage: parts_benchmark songs|jingles COUNT THREADS FOLDER\n", stderr);
        return 2;
    }
    const recordmix::Material material = materialIn(arguments.at(4));
    parts::PartOptions options;
    options.threadCount = arguments.at(3).toInt();
    Records records;
    qsizetype playedJingles = 0;
    if (what == u"songs") {
        records = recordmix::makeRecords(count, recordmix::Mix::Songs, material, 1);
    } else {
        Radio radio = radioAndJingles(count, material);
        records = std::move(radio.records);
        playedJingles = radio.playedJingles;
        options.groupSize = 1;
    }

    const long memoryBefore = peakMemoryMib();
    QElapsedTimer timer;
    timer.start();
    const std::clock_t processorBefore = std::clock();
    const parts::SharedParts found = parts::findSharedParts(records, options);
    const double processor = static_cast<double>(std::clock() - processorBefore) / CLOCKS_PER_SEC;
    std::printf("%s, threads %d\n", qPrintable(what), options.threadCount);
    std::printf("records             %lld\n", static_cast<long long>(records.size()));
    std::printf("parts found         %lld\n", static_cast<long long>(found.parts.size()));
    if (what == u"jingles") {
        std::printf("jingles found       %lld of %lld played\n",
                    static_cast<long long>(foundJingles(found.parts, playedJingles)),
                    static_cast<long long>(playedJingles));
    }
    std::printf("equal words         %lld looked at\n", static_cast<long long>(found.seeds));
    std::printf("words left out      %lld, in %lld places\n",
                static_cast<long long>(found.commonWords),
                static_cast<long long>(found.commonPlaces));
    std::printf("time                %.2f s (processor %.2f s)\n",
                static_cast<double>(timer.nsecsElapsed()) / 1e9, processor);
    std::printf("peak memory         %ld MiB (%ld MiB of it the records)\n", peakMemoryMib(),
                memoryBefore);
    return 0;
}
