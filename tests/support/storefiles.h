#pragma once

#include <QByteArray>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QTest>

#include <functional>

/** What tests of stores do to their files. */
namespace support {

/** The whole content of the file at \a path; empty if it cannot be read. */
inline QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Replaces the file at \a path by \a content. Ends the test function if that fails. */
inline void write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

/**
 * Runs \a statements on the SQLite database at \a path, as somebody with sqlite3 would, and \a then
 * before it is closed. Ends the test function if that fails.
 */
inline void runSql(const QString& path, const QStringList& statements,
                   const std::function<void()>& then = {})
{
    const QString connection = QStringLiteral("other");
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        database.setDatabaseName(path);
        QVERIFY(database.open());
        for (const QString& statement : statements) {
            QSqlQuery query(database);
            QVERIFY2(query.exec(statement), qPrintable(query.lastError().text()));
        }
        if (then) {
            then();
        }
    }
    QSqlDatabase::removeDatabase(connection);
}

} // namespace support
