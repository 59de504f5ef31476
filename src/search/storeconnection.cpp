#include "search/storeconnection.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QUuid>
#include <QtEndian>

namespace search {

namespace {

/** The parts of SQLite's file header that are read, and their offsets. */
constexpr auto kMagic = "SQLite format 3";
constexpr qsizetype kVersionOffset = 60;
constexpr qsizetype kApplicationIdOffset = 68;
constexpr qsizetype kHeaderBytes = 100;

/** Finds what the tables do not take, and quick_check passes over. */
constexpr auto kFindBrokenRecord =
    "SELECT 1 FROM files WHERE typeof(fingerprint) <> 'blob' OR length(fingerprint) % 4 <> 0 OR "
    "(failure IS NULL) <> (length(fingerprint) > 0) LIMIT 1";

/** Codes of SQLite. The higher bits of an extended one have more about the primary one. */
constexpr int kPrimaryCode = 0xFF;
constexpr int kBusy = 5;
constexpr int kCorrupt = 11;
constexpr int kReadOnlyRollback = 776;

int codeOf(const QSqlError& error)
{
    return error.nativeErrorCode().toInt() & kPrimaryCode;
}

QString reasonOf(const QSqlError& error)
{
    if (error.nativeErrorCode().toInt() == kReadOnlyRollback) {
        return QStringLiteral(
            "the program that wrote it was ended in the middle: start that again");
    }
    return codeOf(error) == kCorrupt
               ? QStringLiteral("it is damaged (%1)").arg(error.databaseText())
               : error.databaseText();
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

StoreConnection::StoreConnection(const QString& fileName, Access access,
                                 std::chrono::milliseconds patience)
    : m_fileName(fileName)
    , m_connectionName(QUuid::createUuid().toString())
{
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
        fail(QStringLiteral("Qt's SQLite driver is missing (Debian: libqt6sql6-sqlite)"));
    }
    try {
        open(access, patience);
    } catch (...) {
        m_database = {};
        QSqlDatabase::removeDatabase(m_connectionName);
        throw;
    }
}

StoreConnection::~StoreConnection()
{
    m_database = {};
    QSqlDatabase::removeDatabase(m_connectionName);
}

/** Opens the database, unless the file's header is not that of a store. */
void StoreConnection::open(Access access, std::chrono::milliseconds patience)
{
    const QFileInfo info(m_fileName);
    const bool isReadOnly = access == Access::ReadOnly;
    if (isReadOnly && !info.exists()) {
        fail(QStringLiteral("it does not exist"));
    }
    if (info.exists() && !info.isFile()) {
        fail(QStringLiteral("it is not a regular file"));
    }
    // An empty file becomes a new store.
    if (info.size() > 0 || isReadOnly) {
        requireHeader();
    }
    if (isReadOnly) {
        readAhead();
    }
    if (!isReadOnly && info.exists() && !info.isWritable()) {
        fail(QStringLiteral("it cannot be written"));
    }
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
    const QString mode =
        isReadOnly ? QStringLiteral("QSQLITE_OPEN_READONLY") : QStringLiteral("QSQLITE_OPEN_URI");
    m_database.setConnectOptions(
        QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1;%2").arg(patience.count()).arg(mode));
    // Absolute, since SQLite takes some relative names for databases in memory.
    m_database.setDatabaseName(info.absoluteFilePath());
    if (!m_database.open()) {
        fail(m_database.lastError());
    }
}

/** Read before the database is opened: closing a file drops all locks of the process on it. */
void StoreConnection::requireHeader() const
{
    QFile file(m_fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(file.errorString());
    }
    const QByteArray header = file.read(kHeaderBytes);
    const auto number = [&header](qsizetype offset) {
        return qFromBigEndian<quint32>(header.constData() + offset);
    };
    if (header.size() < kHeaderBytes || !header.startsWith(kMagic) ||
        number(kApplicationIdOffset) != storeschema::kApplicationId) {
        fail(QStringLiteral("it is not a store of fingerprints, or it is damaged"));
    }
    if (number(kVersionOffset) > storeschema::kVersion) {
        failAsNewer();
    }
}

/**
 * Reads the file once from its beginning to its end. What follows reads it page by page, the check
 * of the whole backwards, which takes minutes where the pages are not in memory yet.
 */
void StoreConnection::readAhead() const
{
    constexpr qint64 kBlockBytes = 1 << 20;
    QFile file(m_fileName);
    if (file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        QByteArray block(kBlockBytes, Qt::Uninitialized);
        while (file.read(block.data(), block.size()) > 0) {
        }
    }
}

QSqlQuery StoreConnection::prepared(const QString& statement) const
{
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    if (!query.prepare(statement)) {
        fail(query.lastError());
    }
    return query;
}

void StoreConnection::execute(const QString& statement) const
{
    QSqlQuery query(m_database);
    if (!query.exec(statement)) {
        fail(query.lastError());
    }
}

void StoreConnection::execute(QSqlQuery& query, const QVariantList& values) const
{
    for (qsizetype i = 0; i < values.size(); ++i) {
        query.bindValue(static_cast<int>(i), values.at(i));
    }
    if (!query.exec()) {
        fail(query.lastError());
    }
}

QVariant StoreConnection::value(const QString& statement, const QVariantList& values) const
{
    QSqlQuery query = prepared(statement);
    execute(query, values);
    return next(query) ? query.value(0) : QVariant();
}

bool StoreConnection::next(QSqlQuery& query) const
{
    if (query.next()) {
        return true;
    }
    if (query.lastError().isValid()) {
        fail(query.lastError());
    }
    return false;
}

void StoreConnection::rollBack() const
{
    // cppcheck-suppress ignoredReturnErrorCode
    QSqlQuery(m_database).exec(QStringLiteral("ROLLBACK"));
}

void StoreConnection::beginToRead(Check check) const
{
    execute(QStringLiteral("BEGIN"));
    const qlonglong version = value(QStringLiteral("PRAGMA user_version")).toLongLong();
    if (version > storeschema::kVersion) {
        failAsNewer();
    }
    if (version < storeschema::kVersion) {
        fail(QStringLiteral("it was made by an older version of this program; a search that writes "
                            "to it upgrades it"));
    }
    if (check == Check::Tables) {
        checkTables(storeschema::kParts);
        return;
    }
    checkDamage(storeschema::kParts);
    if (value(QString::fromLatin1(kFindBrokenRecord)).isValid()) {
        failAsDamaged(QStringLiteral("a fingerprint is incomplete"));
    }
}

void StoreConnection::checkDamage(std::span<const storeschema::Part> parts) const
{
    const QString answer = value(QStringLiteral("PRAGMA quick_check(1)")).toString();
    if (answer != QLatin1String("ok")) {
        failAsDamaged(answer.simplified());
    }
    checkTables(parts);
}

void StoreConnection::checkTables(std::span<const storeschema::Part> parts) const
{
    for (const storeschema::Part& part : parts) {
        const QString statement =
            value(QStringLiteral("SELECT sql FROM sqlite_master WHERE name = ?"),
                  {QLatin1String(part.name)})
                .toString();
        if (statement != QLatin1String(part.statement)) {
            failAsDamaged(QStringLiteral("its table has been changed"));
        }
    }
}

void StoreConnection::failAsDamaged(const QString& how) const
{
    fail(QStringLiteral("it is damaged (%1)").arg(how));
}

void StoreConnection::failAsNewer() const
{
    fail(QStringLiteral("it was made by a newer version of this program"));
}

void StoreConnection::fail(const QString& reason) const
{
    throw StoreError(messageOf(m_fileName, reason));
}

void StoreConnection::fail(const QSqlError& error) const
{
    throw StoreError(messageOf(m_fileName, reasonOf(error)), codeOf(error) == kBusy);
}

} // namespace search
