#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>

class QSqlError;
class QSqlQuery;

namespace search {

/** A store that cannot be used, or that cannot take anything any more; what() says why. */
class StoreError : public std::runtime_error
{
public:
    explicit StoreError(const QString& message, bool isBusy = false);
    QString message() const;

    /** Whether another program only kept the store for too long. */
    bool isBusy() const
    {
        return m_isBusy;
    }

private:
    bool m_isBusy;
};

/** What tells whether a file has changed since its fingerprint was stored. */
struct FileState
{
    qint64 sizeBytes = 0;
    /** When the content was last written, in milliseconds since 1970. */
    qint64 modifiedMs = 0;
    /** When the content, the owner or the permissions last changed, in the same way. */
    qint64 changedMs = 0;

    bool operator==(const FileState&) const = default;

    /** The state of the file at \a path, or of what it links to; no value if there is none. */
    static std::optional<FileState> of(const QString& path);
};

/** A file as it is kept. */
struct StoredFile
{
    /** As discovery returned it; the store has a name for it that does not depend on the folder
     * that a search is started in. */
    QString path;
    FileState state;
    /** Of the path above; without words where the file failed. */
    FingerprintRecord record;
    /** Why it failed; null where it did not. */
    QString failure;
};

/**
 * Fingerprints that outlast the program, in an SQLite database whose schema docs/store.md gives.
 *
 * What save() has returned from survives a kill and a power cut. Any number of programs may use one
 * store at a time.
 *
 * Thread: the one that made the object, blocking (another program may be writing).
 */
class FingerprintStore
{
public:
    /**
     * Opens the store at \a fileName, or makes one where there is no file or an empty one.
     * Errors: throws StoreError if it cannot be opened or written, is damaged, was made by a newer
     * version, or is something else; the file is then as it was.
     * Another program may take \a patience to end what it is writing or reading, each time.
     */
    explicit FingerprintStore(const QString& fileName,
                              std::chrono::milliseconds patience = std::chrono::minutes(1));
    ~FingerprintStore();
    FingerprintStore(const FingerprintStore&) = delete;
    FingerprintStore& operator=(const FingerprintStore&) = delete;

    /**
     * What is kept of the file at \a path, if that is still in \a state. Of a file that failed, any
     * change counts, its permissions included; of others, size and time of the content.
     * Errors: throws StoreError.
     */
    std::optional<StoredFile> find(const QString& path, const FileState& state);

    /**
     * Keeps \a files, all or none of them, in the place of what was kept of them before.
     * Errors: throws StoreError.
     */
    void save(const QList<StoredFile>& files);

private:
    void open(const QString& fileName, std::chrono::milliseconds patience);
    void createOrCheck();
    void create();
    void checkDamage();
    QString keyOf(const QString& path);
    void execute(const QString& statement);
    QVariant value(const QString& statement);
    void execute(QSqlQuery& query);
    [[noreturn]] void failAsNewer() const;
    [[noreturn]] void fail(const QString& reason) const;
    [[noreturn]] void fail(const QSqlError& error) const;

    QString m_fileName;
    QString m_connectionName;
    QSqlDatabase m_database;
    std::unique_ptr<QSqlQuery> m_find;
    std::unique_ptr<QSqlQuery> m_save;
    /** Folders as they are called here -> without links and relative parts. */
    QHash<QString, QString> m_folders;
};

} // namespace search
