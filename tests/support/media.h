#pragma once

#include "support/tune.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace testmedia {

/**
 * Runs the ffmpeg program with \a arguments, quietly, overwriting its output files; \a input is its
 * standard input. Ends the test with ffmpeg's messages if it is missing or fails.
 */
void runFfmpeg(const QStringList& arguments, const QByteArray& input = {});

/**
 * A temporary folder of real media, removed with the object. Whatever cannot be made ends the test
 * with the reason: a test without its media has not been run.
 */
class MediaFolder
{
public:
    MediaFolder();
    ~MediaFolder();
    Q_DISABLE_COPY_MOVE(MediaFolder)

    QString path() const;
    /** The path of \a name below the folder; missing folders on the way are made. */
    QString filePath(const QString& name) const;

    /** Writes a file, and returns its path. */
    QString write(const QString& name, const QByteArray& content) const;

    /** Writes \a content, then as many null bytes as make up \a size; they take no disk space. */
    QString writeSparse(const QString& name, const QByteArray& content, qint64 size) const;

    /**
     * Encodes a tune with ffmpeg and returns the file's path. The container and codec follow from
     * the name, unless \a outputArguments say otherwise ("-c:a", "libopus", "-f", "matroska").
     */
    QString makeTune(const QString& name, const Tune& tune,
                     const QStringList& outputArguments = {}) const;

    /** As makeTune(), with a moving picture beside the tune. */
    QString makeFilm(const QString& name, const Tune& tune,
                     const QStringList& outputArguments = {}) const;

    /** As makeFilm(), with a picture of \a width by \a height pixels. */
    QString makeLargeFilm(const QString& name, int width, int height, const Tune& tune,
                          const QStringList& outputArguments) const;

    /** Makes a still picture of \a width by \a height pixels. */
    QString makePicture(const QString& name, int width = 320, int height = 240,
                        const QStringList& outputArguments = {}) const;

    /** Copies \a mediaPath without decoding, with \a picturePath as its cover. */
    QString addCover(const QString& name, const QString& mediaPath, const QString& picturePath,
                     const QStringList& outputArguments = {}) const;

    /** Writes the files at \a paths one behind the other. */
    QString join(const QString& name, const QStringList& paths) const;

    /** Writes the first \a fraction of the file at \a path: a download that broke off. */
    QString truncate(const QString& name, const QString& path, double fraction) const;

private:
    QTemporaryDir folder;
};

/** The whole content of a file. */
QByteArray contentOf(const QString& path);

} // namespace testmedia
