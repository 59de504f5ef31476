#pragma once

#include "search/storeschema.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>
#include <QVariant>

#include <chrono>
#include <span>
#include <stdexcept>

class QSqlError;

namespace search {

/** A store cannot be opened, read or written; what() is the reason. */
class StoreError : public std::runtime_error
{
public:
    explicit StoreError(const QString& message, bool isBusy = false);
    QString message() const;

    /** Whether another program has locked the store. */
    bool isBusy() const
    {
        return m_isBusy;
    }

private:
    bool m_isBusy;
};

/**
 * An open store, as the database that it is. Every failure of a statement is a StoreError that
 * names the store.
 *
 * Thread: Reentrant: one object per thread. Blocks while another program writes.
 */
class StoreConnection
{
public:
    enum class Access {
        ReadOnly,
        /** Makes the file if it does not exist. */
        ReadWrite,
    };

    /**
     * Opens the file at \a fileName. Each access waits up to \a patience for other programs.
     * Errors: throws StoreError if the file cannot be opened so, or if its header is not that of a
     * store of this version or an older one.
     */
    StoreConnection(const QString& fileName, Access access, std::chrono::milliseconds patience);
    ~StoreConnection();
    StoreConnection(const StoreConnection&) = delete;
    StoreConnection& operator=(const StoreConnection&) = delete;

    const QString& fileName() const
    {
        return m_fileName;
    }

    /** \a statement, ready to be executed and read once from its first row to its last. */
    QSqlQuery prepared(const QString& statement) const;
    void execute(const QString& statement) const;
    void execute(QSqlQuery& query, const QVariantList& values) const;
    /** The first value of the first row; none if there is no row. */
    QVariant value(const QString& statement, const QVariantList& values = {}) const;
    /** Ends the transaction without a change, if the error has not ended it already. */
    void rollBack() const;

    /**
     * Moves \a query to its next row; false behind the last one. Errors: throws StoreError, as when
     * a page that it reads is damaged.
     */
    bool next(QSqlQuery& query) const;

    enum class Check {
        /** All of the file, and each record. */
        Whole,
        /** The tables; next() finds the damage of pages, as far as they are read. */
        Tables,
    };
    /** Begins a transaction in which the store stays as it is now, and checks it as it is then. */
    void beginToRead(Check check) const;
    /** Errors: throws StoreError if the store is damaged or has not exactly these \a parts. */
    void checkDamage(std::span<const storeschema::Part> parts) const;
    [[noreturn]] void failAsDamaged(const QString& how) const;

    [[noreturn]] void failAsNewer() const;
    [[noreturn]] void fail(const QString& reason) const;
    [[noreturn]] void fail(const QSqlError& error) const;

private:
    void open(Access access, std::chrono::milliseconds patience);
    void requireHeader() const;
    void readAhead() const;
    void checkTables(std::span<const storeschema::Part> parts) const;

    QString m_fileName;
    QString m_connectionName;
    QSqlDatabase m_database;
};

} // namespace search
