#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

/** Results of searches for the tests, and pictures of the trees that they are about. */
namespace resultfixture {

/** The object of an existing file in a result: of its real size and time, long, whole and not
 *  featureless. */
QJsonObject fileObject(const QString& path);
/** The same as a duplicate. */
QJsonObject duplicateObject(const QString& path, int similarity = 100);
QJsonObject groupObject(const QJsonObject& reference, const QList<QJsonObject>& duplicates);
/** \a object with another value of \a key. */
QJsonObject with(QJsonObject object, const QString& key, const QJsonValue& value);
/** A result of a search of \a folders. */
QByteArray resultJson(const QStringList& folders, const QList<QJsonObject>& groups);

/**
 * Everything in \a folder, itself included, one a line: the path, the kind, the time to the
 * nanosecond, the text of a link, and the size and hash of a file.
 */
QStringList picture(const QString& folder);

/** Creates a file, and the folders above it, with a time of its own in the past. */
bool writeFile(const QString& path, const QByteArray& content);
/** Gives \a path, and not what it links to, the modification time \a seconds and \a nanoseconds. */
bool setTime(const QString& path, qint64 seconds, long nanoseconds);
/** Gives every folder in \a folder, itself included, a time of its own in the past. */
void ageFolders(const QString& folder);

} // namespace resultfixture
