#include "search/fingerprintstore.h"

#include "fingerprint/featureless.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>
#include <QVariant>
#include <QtEndian>

namespace search {

namespace {

/** "QrvF": distinguishes this program's stores from other SQLite databases. */
constexpr quint32 kApplicationId = 0x51727646;

/** The parts of SQLite's file header that are read, and their offsets. */
constexpr auto kMagic = "SQLite format 3";
constexpr qsizetype kVersionOffset = 60;
constexpr qsizetype kApplicationIdOffset = 68;
constexpr qsizetype kHeaderBytes = 100;

/** The columns that find() selects, in this order. */
enum FoundColumn {
    SizeBytes,
    ModifiedMs,
    ChangedMs,
    DurationMs,
    SampleRateHz,
    Channels,
    Fingerprint,
    Failure,
    Container,
    Codec,
    BitRate,
    Lossless,
    BitsPerSample,
    StatedMs,
    DecodedMs,
    BreakReason,
};

constexpr auto kFind =
    "SELECT size_bytes, modified_ms, changed_ms, duration_ms, sample_rate_hz, channels, "
    "fingerprint, failure, container, codec, bit_rate, lossless, bits_per_sample, stated_ms, "
    "decoded_ms, break_reason FROM files LEFT JOIN facts USING (path) WHERE files.path = ?";
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

QList<quint32> fromBlob(const QByteArray& blob)
{
    QList<quint32> words(blob.size() / static_cast<qsizetype>(sizeof(quint32)));
    if (!words.isEmpty()) {
        qFromLittleEndian<quint32>(blob.constData(), words.size(), words.data());
    }
    return words;
}

/** SQLite's primary code for \a error: the higher bits extend it. */
int codeOf(const QSqlError& error)
{
    constexpr int kPrimaryCode = 0xFF;
    return error.nativeErrorCode().toInt() & kPrimaryCode;
}

QString reasonOf(const QSqlError& error)
{
    constexpr int kCorrupt = 11;
    return codeOf(error) == kCorrupt
               ? QStringLiteral("it is damaged (%1)").arg(error.databaseText())
               : error.databaseText();
}

/** The facts in the current row of \a query; unknown if the row has none. */
fingerprint::FileFacts factsIn(const QSqlQuery& query)
{
    fingerprint::FileFacts facts;
    facts.sizeBytes = query.value(SizeBytes).toLongLong();
    facts.modifiedMs = query.value(ModifiedMs).toLongLong();
    if (query.isNull(Container)) {
        return facts;
    }
    facts.container = query.value(Container).toString();
    facts.codec = query.value(Codec).toString();
    facts.bitRate = query.value(BitRate).toLongLong();
    facts.isLossless = query.value(Lossless).toBool();
    facts.bitsPerSample = query.value(BitsPerSample).toInt();
    facts.statedMs = query.value(StatedMs).toLongLong();
    facts.decodedMs = query.value(DecodedMs).toLongLong();
    facts.breakReason = query.value(BreakReason).toString();
    facts.completeness = facts.breakReason.isEmpty() ? fingerprint::Completeness::Whole
                                                     : fingerprint::Completeness::Partial;
    return facts;
}

/** Qt binds a null string as NULL. */
QString notNull(const QString& text)
{
    return text.isNull() ? QLatin1String("") : text;
}

QString messageOf(const QString& fileName, const QString& reason)
{
    return QStringLiteral("The store %1 cannot be used: %2").arg(fileName, reason);
}

} // namespace

StoreError::StoreError(const QString& message, bool isBusy)
    : std::runtime_error(message.toUtf8().toStdString())
    , m_isBusy(isBusy)
{
}

QString StoreError::message() const
{
    return QString::fromUtf8(what());
}

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
    : m_fileName(fileName)
    , m_connectionName(QUuid::createUuid().toString())
{
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
        fail(QStringLiteral("Qt's SQLite driver is missing (Debian: libqt6sql6-sqlite)"));
    }
    try {
        open(fileName, patience);
        createOrCheck();
        m_find = std::make_unique<QSqlQuery>(m_database);
        m_find->setForwardOnly(true);
        m_find->prepare(QString::fromLatin1(kFind));
        m_save = std::make_unique<QSqlQuery>(m_database);
        m_save->prepare(QString::fromLatin1(kSave));
        m_saveFacts = std::make_unique<QSqlQuery>(m_database);
        m_saveFacts->prepare(QString::fromLatin1(kSaveFacts));
    } catch (...) {
        m_database = {};
        QSqlDatabase::removeDatabase(m_connectionName);
        throw;
    }
}

FingerprintStore::~FingerprintStore()
{
    m_find.reset();
    m_save.reset();
    m_saveFacts.reset();
    m_database = {};
    QSqlDatabase::removeDatabase(m_connectionName);
}

/** Opens the database, unless the file's header is not that of a store. */
void FingerprintStore::open(const QString& fileName, std::chrono::milliseconds patience)
{
    const QFileInfo info(fileName);
    if (info.exists() && !info.isFile()) {
        fail(QStringLiteral("it is not a regular file"));
    }
    if (info.size() > 0) {
        // Read before the database is opened: closing a file drops all locks of the process on it.
        QFile file(fileName);
        if (!file.open(QIODevice::ReadOnly)) {
            fail(file.errorString());
        }
        const QByteArray header = file.read(kHeaderBytes);
        const auto number = [&header](qsizetype offset) {
            return qFromBigEndian<quint32>(header.constData() + offset);
        };
        if (header.size() < kHeaderBytes || !header.startsWith(kMagic) ||
            number(kApplicationIdOffset) != kApplicationId) {
            fail(QStringLiteral("it is not a store of fingerprints, or it is damaged"));
        }
        if (number(kVersionOffset) > storeschema::kVersion) {
            failAsNewer();
        }
    }
    if (info.exists() && !info.isWritable()) {
        fail(QStringLiteral("it cannot be written"));
    }
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
    m_database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(patience.count()));
    // Absolute, since SQLite takes some relative names for databases in memory.
    m_database.setDatabaseName(info.absoluteFilePath());
    if (!m_database.open()) {
        fail(m_database.lastError());
    }
}

void FingerprintStore::createOrCheck()
{
    // With a rollback journal, unlike a write-ahead log, a closed store is one file and works on
    // network file systems. "extra" makes a commit survive a power cut.
    execute(QStringLiteral("PRAGMA synchronous = EXTRA"));
    // Another program may be about to create or upgrade the same store.
    execute(QStringLiteral("BEGIN IMMEDIATE"));
    if (value(QStringLiteral("SELECT count(*) FROM sqlite_master")).toInt() == 0) {
        create();
        execute(QStringLiteral("COMMIT"));
        return;
    }
    // A write-ahead log may hold a newer version than the file's header.
    const qlonglong version = value(QStringLiteral("PRAGMA user_version")).toLongLong();
    if (version > storeschema::kVersion) {
        failAsNewer();
    }
    if (version < storeschema::kVersion) {
        checkDamage(storeschema::kPartsOfVersion1);
        upgrade();
        execute(QStringLiteral("COMMIT"));
        return;
    }
    execute(QStringLiteral("ROLLBACK"));
    checkDamage(storeschema::kParts);
}

void FingerprintStore::create()
{
    if (value(QStringLiteral("PRAGMA page_count")).toInt() > 1) {
        fail(QStringLiteral("it is damaged"));
    }
    execute(QStringLiteral("PRAGMA application_id = %1").arg(kApplicationId));
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
        execute(QString::fromLatin1(part.statement));
    }
    execute(QStringLiteral("PRAGMA user_version = %1").arg(storeschema::kVersion));
}

void FingerprintStore::checkDamage(std::span<const storeschema::Part> parts)
{
    const QString answer = value(QStringLiteral("PRAGMA quick_check(1)")).toString();
    if (answer != QLatin1String("ok")) {
        fail(QStringLiteral("it is damaged (%1)").arg(answer.simplified()));
    }
    for (const storeschema::Part& part : parts) {
        const QString statement =
            value(QStringLiteral("SELECT sql FROM sqlite_master WHERE name = '%1'")
                      .arg(QLatin1String(part.name)))
                .toString();
        if (statement != QLatin1String(part.statement)) {
            fail(QStringLiteral("it is damaged (its table has been changed)"));
        }
    }
}

std::optional<StoredFile> FingerprintStore::find(const QString& path, const FileState& state)
{
    execute(*m_find, {m_paths.of(path)});
    std::optional<StoredFile> file;
    if (m_find->next()) {
        const auto number = [this](int column) { return m_find->value(column).toLongLong(); };
        const auto integer = [this](int column) { return m_find->value(column).toInt(); };
        const FileState stored{number(SizeBytes), number(ModifiedMs), number(ChangedMs)};
        const QVariant failure = m_find->value(Failure);
        const bool same = failure.isNull() ? stored.sizeBytes == state.sizeBytes &&
                                                 stored.modifiedMs == state.modifiedMs
                                           : stored == state;
        if (same) {
            const QList<quint32> words = fromBlob(m_find->value(Fingerprint).toByteArray());
            file = {path,
                    stored,
                    {path, words, integer(DurationMs), integer(SampleRateHz), integer(Channels)},
                    failure.toString(),
                    factsIn(*m_find)};
            file->facts.isFeatureless = fingerprint::isFeatureless(words);
        }
    }
    m_find->finish();
    return file;
}

void FingerprintStore::save(const QList<StoredFile>& files)
{
    // Immediate, so that a wait for another program comes first, where nothing is lost.
    execute(QStringLiteral("BEGIN IMMEDIATE"));
    try {
        for (const StoredFile& file : files) {
            saveFile(file);
        }
        execute(QStringLiteral("COMMIT"));
    } catch (const StoreError&) {
        // Fails if the error has ended the transaction already.
        // cppcheck-suppress ignoredReturnErrorCode
        QSqlQuery(m_database).exec(QStringLiteral("ROLLBACK"));
        throw;
    }
}

void FingerprintStore::saveFile(const StoredFile& file)
{
    const auto& [path, words, durationMs, sampleRateHz, channels] = file.record;
    const QString key = m_paths.of(file.path);
    execute(*m_save, {key, file.state.sizeBytes, file.state.modifiedMs, file.state.changedMs,
                      durationMs, sampleRateHz, channels, toBlob(words),
                      file.failure.isNull() ? QVariant(QMetaType::fromType<QString>())
                                            : QVariant(file.failure)});
    // Without a row they are unknown; a trigger has removed an older one.
    if (file.facts.completeness != fingerprint::Completeness::Unknown) {
        const fingerprint::FileFacts& facts = file.facts;
        execute(*m_saveFacts, {key, notNull(facts.container), notNull(facts.codec), facts.bitRate,
                               facts.isLossless ? 1 : 0, facts.bitsPerSample, facts.statedMs,
                               facts.decodedMs, notNull(facts.breakReason)});
    }
}

QStringList FingerprintStore::pathsBelow(const QString& folder)
{
    // Up to the first name behind all that begin with the folder and a slash.
    constexpr char16_t kBehindSlash = u'/' + 1;
    const QString stem = folder == QLatin1String("/") ? QString() : folder;
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    if (!query.prepare(QStringLiteral("SELECT path FROM files WHERE path > ? AND path < ?"))) {
        fail(query.lastError());
    }
    execute(query, {stem + QLatin1Char('/'), stem + QChar(kBehindSlash)});
    QStringList paths;
    while (query.next()) {
        paths.append(query.value(0).toString());
    }
    return paths;
}

void FingerprintStore::forget(const QStringList& paths)
{
    if (paths.isEmpty()) {
        return;
    }
    QSqlQuery removal(m_database);
    if (!removal.prepare(QStringLiteral("DELETE FROM files WHERE path = ?"))) {
        fail(removal.lastError());
    }
    execute(QStringLiteral("BEGIN IMMEDIATE"));
    try {
        for (const QString& path : paths) {
            execute(removal, {path});
        }
        execute(QStringLiteral("COMMIT"));
    } catch (const StoreError&) {
        // Fails if the error has ended the transaction already.
        // cppcheck-suppress ignoredReturnErrorCode
        QSqlQuery(m_database).exec(QStringLiteral("ROLLBACK"));
        throw;
    }
}

void FingerprintStore::execute(const QString& statement)
{
    QSqlQuery query(m_database);
    if (!query.exec(statement)) {
        fail(query.lastError());
    }
}

QVariant FingerprintStore::value(const QString& statement)
{
    QSqlQuery query(m_database);
    if (!query.exec(statement)) {
        fail(query.lastError());
    }
    return query.next() ? query.value(0) : QVariant();
}

void FingerprintStore::execute(QSqlQuery& query, const QVariantList& values)
{
    for (qsizetype i = 0; i < values.size(); ++i) {
        query.bindValue(static_cast<int>(i), values.at(i));
    }
    if (!query.exec()) {
        fail(query.lastError());
    }
}

void FingerprintStore::failAsNewer() const
{
    fail(QStringLiteral("it was made by a newer version of this program"));
}

void FingerprintStore::fail(const QString& reason) const
{
    throw StoreError(messageOf(m_fileName, reason));
}

void FingerprintStore::fail(const QSqlError& error) const
{
    constexpr int kBusy = 5;
    throw StoreError(messageOf(m_fileName, reasonOf(error)), codeOf(error) == kBusy);
}

} // namespace search
