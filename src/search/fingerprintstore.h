#pragma once

#include "fingerprint/filefacts.h"
#include "fingerprint/fingerprintrecord.h"
#include "search/storeconnection.h"
#include "search/storedpath.h"
#include "search/storeschema.h"

#include <QList>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <span>

namespace search {

/** By which a file that has changed since its fingerprint was stored is recognised. */
struct FileState
{
    qint64 sizeBytes = 0;
    /** When the content was last written, in milliseconds since 1970. */
    qint64 modifiedMs = 0;
    /** When the content, the owner or the permissions last changed, in milliseconds since 1970. */
    qint64 changedMs = 0;

    bool operator==(const FileState&) const = default;

    /** The state of the file at \a path, or of what it links to; no value if it does not exist. */
    static std::optional<FileState> of(const QString& path);
};

/** What the store keeps of a file. */
struct StoredFile
{
    /** As discovery returned it. The store resolves it, so that any later search finds it. */
    QString path;
    FileState state;
    /** Of the path above; without words if the file failed. */
    FingerprintRecord record;
    /** The reason why it failed; null if it did not. */
    QString failure;
    /** Kept only if it is known whether the file is whole. Size and time are those of the state. */
    fingerprint::FileFacts facts = {};
};

/**
 * Fingerprints that outlast the program, in an SQLite database whose schema docs/store.md gives.
 *
 * What save() has saved survives a kill and a power cut. Any number of programs may use one store
 * at a time.
 *
 * Thread: Reentrant: one object per thread. Blocks while another program writes.
 */
class FingerprintStore
{
public:
    /**
     * Opens the store at \a fileName. Creates it if the file is empty or does not exist, and
     * upgrades one of an older version in one transaction, without reading any file. Each access
     * waits up to \a patience for other programs. Errors: throws StoreError if the file
     * cannot be opened or written, is damaged, is not a store, or was made by a newer version; the
     * file is then unchanged.
     */
    explicit FingerprintStore(const QString& fileName,
                              std::chrono::milliseconds patience = std::chrono::minutes(1));
    ~FingerprintStore();
    FingerprintStore(const FingerprintStore&) = delete;
    FingerprintStore& operator=(const FingerprintStore&) = delete;

    /**
     * Returns what is kept of the file at \a path, if the file is still in \a state. For a file
     * that failed any change counts, permissions included; for others, size and time of the
     * content. Errors: throws StoreError.
     */
    std::optional<StoredFile> find(const QString& path, const FileState& state);

    /**
     * Saves \a files, all or none of them, and replaces what was kept of them before.
     * Errors: throws StoreError.
     */
    void save(const QList<StoredFile>& files);

    /**
     * Returns the paths, without links, of all files kept from below \a folder, a path without
     * links. Errors: throws StoreError.
     */
    QStringList pathsBelow(const QString& folder);

    /**
     * Takes out what is kept of the files at \a paths, as pathsBelow() returns them; all or none.
     * Errors: throws StoreError.
     */
    void forget(const QStringList& paths);

    /** The open database, for what else works on its tables. */
    StoreConnection& connection()
    {
        return m_connection;
    }
    std::chrono::milliseconds patience() const
    {
        return m_patience;
    }

private:
    void createOrCheck();
    void create();
    void upgrade();
    void make(std::span<const storeschema::Part> parts);
    void saveFile(const StoredFile& file);
    template <typename Changes> void change(const Changes& changes);

    std::chrono::milliseconds m_patience;
    StoreConnection m_connection;
    std::optional<QSqlQuery> m_find;
    std::optional<QSqlQuery> m_save;
    std::optional<QSqlQuery> m_saveFacts;
    StoredPaths m_paths;
};

} // namespace search
