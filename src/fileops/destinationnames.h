#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <utility>

/** The names of moved and copied files. Pure text: never reads the file system. */
namespace fileops {

/** The paths from and to which a file is moved or copied. */
using SourceAndDestination = std::pair<QString, QString>;

/** The text between the source's name and the number. */
inline constexpr QLatin1StringView kMovedMarker{"-moved-"};
inline constexpr QLatin1StringView kCopiedMarker{"-copied-"};

/**
 * The name of the file that \a source becomes: its name up to the first dot, \a marker, \a number, a
 * full stop and what follows the last dot of its name.
 *
 * Thread: Any thread.
 */
QString destinationName(const QString& source, const QString& marker, qsizetype number);

/**
 * The path of \a source in \a directory: the directory, the platform's separator (unless the
 * directory ends in it already) and its destinationName().
 *
 * "a.live.mp3" with the marker "-copied-" and the number 1 gives "a-copied-1.mp3"; a name without a
 * dot ends in the full stop. The text between the first and the last dot is dropped.
 *
 * Thread: Any thread.
 */
QString destinationPath(const QString& directory, const QString& source, const QString& marker,
                        qsizetype number);

/**
 * \a sources in their order, each with its destination in \a directory; they are numbered from 1.
 * The numbers make the names unique within one list only: a later list starts at 1 again.
 *
 * Thread: Any thread.
 */
QList<SourceAndDestination> withDestinations(const QStringList& sources, const QString& directory,
                                             const QString& marker);

} // namespace fileops
