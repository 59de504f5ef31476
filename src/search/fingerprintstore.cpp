#include "search/fingerprintstore.h"

#include "search/storedrow.h"

#include <QByteArray>
#include <QDateTime>
#include <QFileInfo>
#include <QSqlQuery>
#include <QVariant>
#include <QtEndian>

namespace search {

using namespace Qt::StringLiterals;

namespace {

constexpr auto kSave = "INSERT OR REPLACE INTO files VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr auto kSaveFacts = "INSERT OR REPLACE INTO facts VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";

QByteArray toBlob(const QList<quint32>& words)
{
    QByteArray blob(words.size() * static_cast<qsizetype>(sizeof(quint32)), Qt::Uninitialized);
    if (!words.isEmpty()) { // an empty list has no address to copy from
        qToLittleEndian<quint32>(words.constData(), words.size(), blob.data());
    }
    return blob;
}

/** Qt binds a null string as NULL. */
QString notNull(const QString& text)
{
    return text.isNull() ? QLatin1String("") : text;
}

} // namespace

std::optional<FileState> FileState::of(const QString& path)
{
    const QFileInfo file(path);
    if (!file.exists()) {
        return std::nullopt;
    }
    return FileState{file.size(), file.lastModified().toMSecsSinceEpoch(),
                     file.metadataChangeTime().toMSecsSinceEpoch()};
}

FingerprintStore::FingerprintStore(const QString& fileName, std::chrono::milliseconds patience)
    : m_patience(patience)
    , m_connection(fileName, StoreConnection::Access::ReadWrite, patience)
{
    createOrCheck();
    m_find = m_connection.prepared(selectStoredFiles(u"files.path = ?"_s));
    m_save = m_connection.prepared(QString::fromLatin1(kSave));
    m_saveFacts = m_connection.prepared(QString::fromLatin1(kSaveFacts));
}

FingerprintStore::~FingerprintStore() = default;

void FingerprintStore::createOrCheck()
{
    // With a rollback journal, unlike a write-ahead log, a closed store is one file and works on
    // network file systems. "extra" makes a commit survive a power cut.
    m_connection.execute(QStringLiteral("PRAGMA synchronous = EXTRA"));
    // Another program may be about to create or upgrade the same store.
    m_connection.execute(QStringLiteral("BEGIN IMMEDIATE"));
    if (m_connection.value(QStringLiteral("SELECT count(*) FROM sqlite_master")).toInt() == 0) {
        create();
        m_connection.execute(QStringLiteral("COMMIT"));
        return;
    }
    // A write-ahead log may hold a newer version than the file's header.
    const qlonglong version =
        m_connection.value(QStringLiteral("PRAGMA user_version")).toLongLong();
    if (version > storeschema::kVersion) {
        m_connection.failAsNewer();
    }
    if (version < storeschema::kVersion) {
        m_connection.checkDamage(storeschema::kPartsOfVersion1);
        upgrade();
        m_connection.execute(QStringLiteral("COMMIT"));
        return;
    }
    m_connection.execute(QStringLiteral("ROLLBACK"));
    m_connection.checkDamage(storeschema::kParts);
}

void FingerprintStore::create()
{
    if (m_connection.value(QStringLiteral("PRAGMA page_count")).toInt() > 1) {
        m_connection.fail(QStringLiteral("it is damaged"));
    }
    m_connection.execute(
        QStringLiteral("PRAGMA application_id = %1").arg(storeschema::kApplicationId));
    make(storeschema::kParts);
}

void FingerprintStore::upgrade()
{
    make(storeschema::kPartsSinceVersion1);
}

/** Makes \a parts, which complete the store of this version. */
void FingerprintStore::make(std::span<const storeschema::Part> parts)
{
    for (const storeschema::Part& part : parts) {
        m_connection.execute(QString::fromLatin1(part.statement));
    }
    m_connection.execute(QStringLiteral("PRAGMA user_version = %1").arg(storeschema::kVersion));
}

std::optional<StoredFile> FingerprintStore::find(const QString& path, const FileState& state)
{
    m_connection.execute(*m_find, {m_paths.of(path)});
    std::optional<StoredFile> file;
    if (m_find->next()) {
        file = storedFileIn(*m_find, path);
        const FileState& stored = file->state;
        const bool same = file->failure.isNull() ? stored.sizeBytes == state.sizeBytes &&
                                                       stored.modifiedMs == state.modifiedMs
                                                 : stored == state;
        if (!same) {
            file.reset();
        }
    }
    m_find->finish();
    return file;
}

/** Makes \a changes in one transaction. */
template <typename Changes> void FingerprintStore::change(const Changes& changes)
{
    // Immediate, so that a wait for another program comes first, where nothing is lost.
    m_connection.execute(QStringLiteral("BEGIN IMMEDIATE"));
    try {
        changes();
        m_connection.execute(QStringLiteral("COMMIT"));
    } catch (const StoreError&) {
        m_connection.rollBack();
        throw;
    }
}

void FingerprintStore::save(const QList<StoredFile>& files)
{
    change([&] {
        for (const StoredFile& file : files) {
            saveFile(file);
        }
    });
}

void FingerprintStore::saveFile(const StoredFile& file)
{
    const auto& [path, words, durationMs, sampleRateHz, channels] = file.record;
    const QString key = m_paths.of(file.path);
    m_connection.execute(*m_save,
                         {key, file.state.sizeBytes, file.state.modifiedMs, file.state.changedMs,
                          durationMs, sampleRateHz, channels, toBlob(words),
                          file.failure.isNull() ? QVariant(QMetaType::fromType<QString>())
                                                : QVariant(file.failure)});
    // Without a row they are unknown; a trigger has removed an older one.
    if (file.facts.completeness != fingerprint::Completeness::Unknown) {
        const fingerprint::FileFacts& facts = file.facts;
        m_connection.execute(*m_saveFacts,
                             {key, notNull(facts.container), notNull(facts.codec), facts.bitRate,
                              facts.isLossless ? 1 : 0, facts.bitsPerSample, facts.statedMs,
                              facts.decodedMs, notNull(facts.breakReason)});
    }
}

QStringList FingerprintStore::pathsBelow(const QString& folder)
{
    // Up to the first name behind all that begin with the folder and a slash.
    constexpr char16_t kBehindSlash = u'/' + 1;
    const QString stem = folder == QLatin1String("/") ? QString() : folder;
    QSqlQuery query =
        m_connection.prepared(QStringLiteral("SELECT path FROM files WHERE path > ? AND path < ?"));
    m_connection.execute(query, {stem + QLatin1Char('/'), stem + QChar(kBehindSlash)});
    QStringList paths;
    while (m_connection.next(query)) {
        paths.append(query.value(0).toString());
    }
    return paths;
}

void FingerprintStore::forget(const QStringList& paths)
{
    if (paths.isEmpty()) {
        return;
    }
    QSqlQuery removal = m_connection.prepared(QStringLiteral("DELETE FROM files WHERE path = ?"));
    change([&] {
        for (const QString& path : paths) {
            m_connection.execute(removal, {path});
        }
    });
}

} // namespace search
