// Makes the stores that several machines would make of a large collection, to measure what joins,
// loads and compares them, without decoding anything but the material: seeded records that are
// spliced together from the music of a folder (tests/support/recordmix.h).
//
//   storescale_benchmark RECORDS PARTS ARCHIVE OUTPUT FOLDER
//
// OUTPUT/1.store to OUTPUT/PARTS.store get RECORDS songs made of the music in FOLDER, each file in the
// part that "quorvel-cli fingerprint --shard" would keep it in. Their names begin with ARCHIVE, which
// need not hold anything. Prints how long saving them took.

#include "fingerprint/audiofilediscovery.h"
#include "search/fingerprintcollection.h"
#include "search/fingerprintstore.h"
#include "search/shard.h"
#include "support/recordmix.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <utility>
#include <vector>

namespace {

/** All are kept in memory until they are saved. */
constexpr int kRecordsAtATime = 20000;
constexpr int kFilesPerFolder = 100;

QString pathOf(const QString& archive, int index)
{
    return QStringLiteral("%1/%2/Artist %2 - Recording %3.mp3")
        .arg(archive)
        .arg(index / kFilesPerFolder, 6, 10, QLatin1Char('0'))
        .arg(index, 8, 10, QLatin1Char('0'));
}

/** What the store keeps of a record, as of an MP3 file of 192 kbit/s that is whole. */
search::StoredFile storedFile(FingerprintRecord record, const QString& path)
{
    constexpr qint64 kBitRate = 192000;
    constexpr qint64 kModifiedMs = 1600000000000;
    std::get<0>(record) = path;
    const qint64 durationMs = std::get<2>(record);
    search::StoredFile file;
    file.path = path;
    file.state = {durationMs * kBitRate / 8000, kModifiedMs, kModifiedMs};
    file.record = std::move(record);
    file.facts.container = QStringLiteral("mp3");
    file.facts.codec = QStringLiteral("mp3");
    file.facts.bitRate = kBitRate;
    file.facts.completeness = fingerprint::Completeness::Whole;
    file.facts.statedMs = durationMs;
    file.facts.decodedMs = durationMs;
    return file;
}

recordmix::Material materialIn(const QString& folder)
{
    const QStringList files = fingerprint::findAudioFiles({folder});
    return recordmix::materialOf(search::fingerprintFiles(files, {2, nullptr, {}, {}}).records);
}

/** Saves records number \a first and following into the part of each. */
void saveSome(const std::vector<std::unique_ptr<search::FingerprintStore>>& parts,
              const QList<FingerprintRecord>& records, const QString& archive, int first)
{
    const auto count = static_cast<int>(parts.size());
    std::vector<QList<search::StoredFile>> files(parts.size());
    for (int i = 0; i < records.size(); ++i) {
        const QString path = pathOf(archive, first + i);
        files.at(static_cast<std::size_t>(search::shardOf(path, count) - 1))
            .append(storedFile(records.at(i), path));
    }
    for (std::size_t part = 0; part < parts.size(); ++part) {
        parts[part]->save(files[part]);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int recordCount = arguments.value(1).toInt();
    const int partCount = arguments.value(2).toInt();
    if (arguments.size() != 6 || recordCount <= 0 || partCount <= 0) {
        std::fputs("usage: storescale_benchmark RECORDS PARTS ARCHIVE OUTPUT FOLDER\n", stderr);
        return 2;
    }
    const QString archive = QFileInfo(arguments.at(3)).absoluteFilePath();
    const recordmix::Material material = materialIn(arguments.at(5));
    try {
        std::vector<std::unique_ptr<search::FingerprintStore>> parts;
        for (int part = 1; part <= partCount; ++part) {
            parts.push_back(std::make_unique<search::FingerprintStore>(
                QDir(arguments.at(4)).filePath(QStringLiteral("%1.store").arg(part))));
        }
        std::clock_t saving = 0;
        for (int first = 0; first < recordCount; first += kRecordsAtATime) {
            const QList<FingerprintRecord> records = recordmix::makeRecords(
                std::min(kRecordsAtATime, recordCount - first), recordmix::Mix::Songs, material,
                static_cast<unsigned>(first / kRecordsAtATime + 1));
            const std::clock_t before = std::clock();
            saveSome(parts, records, archive, first);
            saving += std::clock() - before;
        }
        std::printf("%d records saved in %d stores: processor %.2f s\n", recordCount, partCount,
                    static_cast<double>(saving) / CLOCKS_PER_SEC);
    } catch (const search::StoreError& error) {
        std::fprintf(stderr, "%s\n", qPrintable(error.message()));
        return 1;
    }
    return 0;
}
