#pragma once

#include "compare/audioinfomap.h"

#include <QString>
#include <QStringList>

namespace results {

/**
 * \a durationMs as "hh:mm:ss", whole seconds truncated toward zero. Hours wrap at 24, since it is a
 * time of day; -1 (unknown) gives "00:00:00". Reentrant.
 */
QString durationText(int durationMs);

/**
 * The five cells of a reference file's row: path, nothing, duration, sample rate, channels.
 * For a path that is missing from \a audioInfo the last three are "00:00:00", "0" and "0".
 * Reentrant.
 */
QStringList referenceCells(const QString& path, const AudioInfoMap& audioInfo);

/** The five cells of a duplicate's row: as referenceCells(), with \a similarity as "87%".
 * Reentrant. */
QStringList duplicateCells(const QString& path, int similarity, const AudioInfoMap& audioInfo);

/** "No duplicate audio files found.", "1 duplicate audio file found.", "2 duplicate audio files
 * found." */
QString duplicateCountText(qsizetype count);

} // namespace results
