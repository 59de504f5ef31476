#include "cli/fingerprintcommand.h"

#include "cli/exitstatus.h"
#include "cli/filecollector.h"
#include "cli/interruption.h"
#include "cli/message.h"
#include "cli/progressline.h"
#include "search/fingerprintstore.h"
#include "search/shard.h"
#include "search/storedpath.h"

namespace cli {

namespace {

QStringList filesOfShard(QStringList files, const search::Shard& shard)
{
    if (shard.count == 1) {
        return files;
    }
    search::StoredPaths names;
    files.removeIf([&](const QString& file) {
        return search::shardOf(names.of(file), shard.count) != shard.number;
    });
    return files;
}

/**
 * Prints the files that the store does not have. Without them, a search of the store alone would
 * miss them without a word.
 */
void printMissing(const QList<search::FailedFile>& files)
{
    for (const search::FailedFile& file : files) {
        printMessage(QStringLiteral("Not kept: %1: %2").arg(file.path, file.reason));
    }
}

} // namespace

int runFingerprint(const FingerprintOptions& options)
{
    const Interruption interruption;
    const std::stop_token stop = interruption.token();
    ProgressLine progress(!options.quiet);
    FileCollector collector(options, progress, stop);
    search::Collection collection;
    try {
        search::FingerprintStore store(options.storeFile);
        const FoundFiles found = collector.find(collector.usableFolders(options.folders), {});
        collection =
            collector.fingerprint(filesOfShard(found.lists.first, options.shard), &store, true);
    } catch (const search::StoreError& error) {
        progress.clear();
        printMessage(error.message());
        return Failed;
    }
    progress.clear();
    if (stop.stop_requested()) {
        collector.printKept();
        return interruption.exitStatus();
    }
    printMissing(collection.notKept);
    if (collector.hasStoreFailed()) {
        return Failed;
    }
    return collector.isFolderMissing() || !collection.notKept.isEmpty() ? FolderMissing : Done;
}

} // namespace cli
