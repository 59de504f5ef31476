#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace actions {

/** What a search's result has about a file, as far as it matters here. */
struct ResultFile
{
    /** Absolute and without "." and "..". */
    QString path;
    qint64 sizeBytes = 0;
    /** In milliseconds since 1970. */
    qint64 modifiedMs = 0;
    /** The shorter one of the lengths that the file states and has; negative if neither is known. */
    qint64 durationMs = -1;
    bool isPartial = true;
    bool isFeatureless = false;
};

/** A file that a duplicate resembles. */
struct Resemblance
{
    /** Of a reference file. */
    QString reference;
    /** In percent. */
    int similarity = 0;
};

/** A file that resembles others: one reference, or several where every pair was listed. */
struct Duplicate
{
    ResultFile file;
    QList<Resemblance> resemblances;
};

/** The result of a search. */
struct SearchResult
{
    /** Absolute; of both groups. */
    QStringList searchedFolders;
    QHash<QString, ResultFile> references;
    /** Each path once, in the order of the result. */
    QList<Duplicate> duplicates;
    /** The SHA-256 of the result's bytes. */
    QByteArray hash;
};

/**
 * Reads a result, described by docs/quorvel-cli.schema.json.
 * Errors: throws ActionError with the place. Thread: Any thread.
 */
SearchResult readSearchResult(const QByteArray& json);

/** Whether \a path is absolute, without ".", ".." and empty parts, and can be passed to the system.
 */
bool isPlainPath(const QString& path);

} // namespace actions
