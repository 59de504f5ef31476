#include "storecontent.h"

#include <QSqlDatabase>
#include <QSqlQuery>

using namespace Qt::StringLiterals;

QVariantList executed(const QString& path, const QStringList& statements)
{
    QVariantList column;
    {
        QSqlDatabase database =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("other"));
        database.setDatabaseName(path);
        if (!database.open()) {
            qFatal("%s", qPrintable(path));
        }
        for (const QString& statement : statements) {
            QSqlQuery query(database);
            if (!query.exec(statement)) {
                qFatal("%s", qPrintable(statement));
            }
            column.clear();
            while (query.next()) {
                column.append(query.value(0));
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("other"));
    return column;
}

QStringList contentOfStore(const QString& path)
{
    const QString columns =
        u"files.path || '|' || size_bytes || '|' || modified_ms || '|' || changed_ms || '|' || "
        "duration_ms || '|' || sample_rate_hz || '|' || channels || '|' || hex(fingerprint) || "
        "'|' || ifnull(failure, '-') || '|' || ifnull(container || '|' || codec || '|' || "
        "bit_rate || '|' || lossless || '|' || bits_per_sample || '|' || stated_ms || '|' || "
        "decoded_ms || '|' || break_reason, '-')"_s;
    const QVariantList lines = executed(
        path,
        {u"SELECT %1 FROM files LEFT JOIN facts USING (path) ORDER BY files.path"_s.arg(columns)});
    QStringList texts;
    for (const QVariant& line : lines) {
        texts.append(line.toString());
    }
    return texts;
}
