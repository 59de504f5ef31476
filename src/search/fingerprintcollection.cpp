#include "search/fingerprintcollection.h"

#include "fingerprint/fingerprintcalculation.h"
#include "search/failurereason.h"
#include "search/fingerprintstore.h"
#include "search/workerthreads.h"

#include <QMap>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace search {

namespace {

constexpr std::chrono::milliseconds kProgressInterval(200);

/** A file that a thread has fingerprinted. */
struct MadeFile
{
    qsizetype position = 0;
    StoredFile file;
    /** False if the file may have other content now than the one that was decoded. */
    bool keep = false;
};

/** Fingerprints the file at \a path; no value if stopped. */
std::optional<MadeFile> make(qsizetype position, const QString& path, const std::stop_token& stop)
{
    MadeFile made{position, {path, {}, {path, {}, 0, 0, 0}, {}, {}}, false};
    const std::optional<FileState> before = FileState::of(path);
    try {
        const fingerprint::FingerprintOutcome outcome = fingerprint::fingerprintFile(path, stop);
        if (outcome.report.stopped) {
            return std::nullopt;
        }
        made.file.record = outcome.record;
        made.file.facts = outcome.facts;
        if (!outcome.report.succeeded) {
            made.file.failure = failureReason(outcome.report, before && before->sizeBytes == 0);
        }
        made.keep = before && before == FileState::of(path) && !outcome.report.inputFailed;
        made.file.state = before.value_or(FileState());
        made.file.facts.sizeBytes = made.file.state.sizeBytes;
        made.file.facts.modifiedMs = made.file.state.modifiedMs;
    } catch (const std::bad_alloc&) {
        made.file.failure = QStringLiteral("Not enough memory");
    } catch (const std::exception& error) {
        made.file.failure = QString::fromLocal8Bit(error.what());
    }
    return made;
}

/** One call of fingerprintFiles(). */
class FileFingerprinting
{
public:
    FileFingerprinting(const QStringList& files, const CollectionOptions& options)
        : m_files(files)
        , m_options(options)
        , m_store(options.store)
        , m_failures(files.size())
    {
        m_progress.allFiles = files.size();
        if (!options.savesOnly) {
            m_collection.records.resize(files.size());
            m_collection.facts.resize(files.size());
        }
    }

    Collection run()
    {
        takeFromStore();
        WorkerThreads threads(m_options.threadCount,
                              [this](WorkerThreads& workers) { work(workers); });
        while (!threads.waitFor(kProgressInterval)) {
            takeMade();
            report();
        }
        takeMade();
        report();
        if (!m_unsaved.isEmpty()) {
            m_collection.storeFailure = m_busyMessage;
        }
        gatherFailures();
        return std::move(m_collection);
    }

private:
    /** Finds the files that the store knows, and lists the others. */
    void takeFromStore()
    {
        for (qsizetype i = 0; i < m_files.size() && !isOver(); ++i) {
            std::optional<StoredFile> known = find(m_files.at(i));
            if (known) {
                take(i, *known);
            } else {
                m_missing.push_back(i);
            }
            report();
        }
    }

    std::optional<StoredFile> find(const QString& path)
    {
        const std::optional<FileState> state = m_store ? FileState::of(path) : std::nullopt;
        std::optional<StoredFile> known;
        if (state) {
            withStore([&] { known = m_store->find(path, *state); });
        }
        return known;
    }

    void work(WorkerThreads& workers)
    {
        for (std::size_t next = m_next++; next < m_missing.size() && !isOver(); next = m_next++) {
            const qsizetype position = m_missing[next];
            std::optional<MadeFile> made = make(position, m_files.at(position), m_options.stop);
            if (!made) {
                break;
            }
            {
                const std::scoped_lock lock(m_madeMutex);
                m_made.push_back(std::move(*made));
            }
            workers.wake();
        }
    }

    /** Takes what the threads have made since the last call, and saves it in one transaction. */
    void takeMade()
    {
        std::vector<MadeFile> made;
        {
            const std::scoped_lock lock(m_madeMutex);
            made.swap(m_made);
        }
        for (const MadeFile& entry : made) {
            if (entry.keep && m_store) {
                m_unsaved.append(entry.file);
            } else if (m_store) {
                const QString& failure = entry.file.failure;
                m_notKept.insert(entry.position,
                                 failure.isNull() ? QStringLiteral("It changed while it was read")
                                                  : failure);
            }
        }
        save();
        for (const MadeFile& entry : made) {
            take(entry.position, entry.file);
            ++m_progress.filesDecoded;
            m_progress.secondsOfAudioDecoded +=
                std::max(std::get<2>(entry.file.record), 0) / 1000.0;
        }
    }

    void save()
    {
        if (m_unsaved.isEmpty()) {
            return;
        }
        withStore([&] {
            try {
                m_store->save(m_unsaved);
            } catch (const StoreError& error) {
                if (error.isBusy()) {
                    // A long query in another program must not cost a night's work: what could not
                    // be saved is retried with what is made next.
                    m_busyMessage = error.message();
                    return;
                }
                m_unsaved.clear();
                throw;
            }
            m_collection.savedCount +=
                std::count_if(m_unsaved.cbegin(), m_unsaved.cend(),
                              [](const StoredFile& file) { return file.failure.isNull(); });
            m_unsaved.clear();
        });
    }

    void take(qsizetype position, const StoredFile& file)
    {
        if (!m_options.savesOnly) {
            m_collection.records[position] = file.record;
            m_collection.facts[position] = file.facts;
        }
        m_failures[position] = file.failure;
        ++m_progress.filesDone;
    }

    /** Whether no further file is read. */
    bool isOver() const
    {
        return m_isInVain || m_options.stop.stop_requested();
    }

    template <typename Function> void withStore(const Function& function)
    {
        if (!m_store) {
            return;
        }
        try {
            function();
        } catch (const StoreError& error) {
            // A search still has a result.
            m_collection.storeFailure = error.message();
            m_store = nullptr;
            m_isInVain = m_options.savesOnly;
        }
    }

    void report() const
    {
        if (m_options.progress) {
            m_options.progress(m_progress);
        }
    }

    void gatherFailures()
    {
        for (qsizetype i = 0; i < m_files.size(); ++i) {
            if (!m_failures.at(i).isNull()) {
                m_collection.failures.append({m_files.at(i), m_failures.at(i)});
            }
        }
        for (auto entry = m_notKept.cbegin(); entry != m_notKept.cend(); ++entry) {
            m_collection.notKept.append({m_files.at(entry.key()), entry.value()});
        }
    }

    const QStringList& m_files;
    const CollectionOptions& m_options;
    FingerprintStore* m_store;
    Collection m_collection;
    CollectionProgress m_progress;
    /** For each file; null if it did not fail. */
    QStringList m_failures;
    /** Positions of the files that the store is not given, and the reasons. */
    QMap<qsizetype, QString> m_notKept;
    /** Made, but not saved yet. */
    QList<StoredFile> m_unsaved;
    /** Why they could not be saved. */
    QString m_busyMessage;
    /** Positions of the files that the store does not know. */
    std::vector<qsizetype> m_missing;
    std::atomic<std::size_t> m_next = 0;
    /** Whether there is nowhere to save what is made. */
    std::atomic<bool> m_isInVain = false;
    std::mutex m_madeMutex;
    std::vector<MadeFile> m_made;
};

} // namespace

Collection fingerprintFiles(const QStringList& files, const CollectionOptions& options)
{
    return FileFingerprinting(files, options).run();
}

} // namespace search
