#include "fingerprint/audiofilediscovery.h"

#include <QDirIterator>
#include <QFileInfo>

#include <algorithm>

namespace fingerprint {

namespace {

/** The part of a pattern behind its "*.": every pattern names a suffix that has no dot itself. */
QStringList suffixesOf(const QStringList& patterns)
{
    QStringList suffixes;
    for (const QString& pattern : patterns) {
        suffixes.append(pattern.sliced(2));
    }
    return suffixes;
}

/**
 * True when one of the patterns matches \a fileName as the directory iterator itself would match
 * it: "*." takes everything up to the last dot, also nothing at all and also line breaks, and the
 * rest is compared by simple case folding, one character with one character.
 */
bool isAudioFileName(QStringView fileName)
{
    static const QStringList suffixes = suffixesOf(audioFileNamePatterns());
    const qsizetype dot = fileName.lastIndexOf(u'.');
    if (dot < 0) {
        return false;
    }
    const QStringView suffix = fileName.sliced(dot + 1);
    return std::any_of(suffixes.cbegin(), suffixes.cend(), [suffix](const QString& known) {
        return suffix.size() == known.size() && suffix.compare(known, Qt::CaseInsensitive) == 0;
    });
}

/**
 * Appends the audio files under \a folder to \a files.
 *
 * The iterator gets no name filters, and yields folders too, although neither is wanted: an
 * iterator that filters looks for the next match inside one call, and a million files that match
 * nothing would then pass without the stop being asked for.
 */
void appendAudioFiles(const QString& folder, const std::stop_token& stop, QStringList& files)
{
    QDirIterator entries(folder, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (!stop.stop_requested() && entries.hasNext()) {
        const QString path = entries.next();
        if (isAudioFileName(entries.fileName()) && !entries.fileInfo().isDir()) {
            files.append(path);
        }
    }
}

} // namespace

const QStringList& audioFileNamePatterns()
{
    static const QStringList patterns = {
        QStringLiteral("*.3g2"),  QStringLiteral("*.3gp"),  QStringLiteral("*.aac"),
        QStringLiteral("*.ac3"),  QStringLiteral("*.al"),   QStringLiteral("*.ape"),
        QStringLiteral("*.apl"),  QStringLiteral("*.avi"),  QStringLiteral("*.avif"),
        QStringLiteral("*.f4v"),  QStringLiteral("*.flac"), QStringLiteral("*.flv"),
        QStringLiteral("*.ism"),  QStringLiteral("*.isma"), QStringLiteral("*.ismv"),
        QStringLiteral("*.m2a"),  QStringLiteral("*.m4a"),  QStringLiteral("*.m4b"),
        QStringLiteral("*.m4v"),  QStringLiteral("*.mac"),  QStringLiteral("*.mj2"),
        QStringLiteral("*.mk3d"), QStringLiteral("*.mka"),  QStringLiteral("*.mks"),
        QStringLiteral("*.mkv"),  QStringLiteral("*.mov"),  QStringLiteral("*.mp2"),
        QStringLiteral("*.mp3"),  QStringLiteral("*.mp4"),  QStringLiteral("*.mpa"),
        QStringLiteral("*.mpc"),  QStringLiteral("*.ogg"),  QStringLiteral("*.psp"),
        QStringLiteral("*.sb"),   QStringLiteral("*.shn"),  QStringLiteral("*.sw"),
        QStringLiteral("*.tak"),  QStringLiteral("*.tta"),  QStringLiteral("*.ub"),
        QStringLiteral("*.ul"),   QStringLiteral("*.uw"),   QStringLiteral("*.webm"),
        QStringLiteral("*.wav"),  QStringLiteral("*.wma"),
    };
    return patterns;
}

QStringList findAudioFiles(const QStringList& folders, const std::stop_token& stop)
{
    QStringList files;
    for (const QString& folder : folders) {
        if (stop.stop_requested()) {
            break;
        }
        appendAudioFiles(folder, stop, files);
    }
    return files;
}

} // namespace fingerprint
