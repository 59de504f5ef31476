#pragma once

#include "parts/stretches.h"

#include <QtGlobal>

namespace parts {

/** How long a word is after the one before it: 1365 samples at 11025 Hz, a frame without overlap. */
inline constexpr double kSecondsPerWord = 1365.0 / 11025.0;
/**
 * What one word is made of: 20 frames, 16 for the widest classifier and 4 more for the filter of
 * the chroma features, the last of which has 4096 samples.
 */
inline constexpr double kSecondsOfWord = (19 * 1365.0 + 4096.0) / 11025.0;
/**
 * How far the first and the last word of a stretch reach into what is no longer alike: words are
 * alike when most of their sound is, and its end counts more than its begin. Measured with 24
 * pieces of 20 and 30 s within other music: each end is then right to 0.6 s.
 */
inline constexpr double kSecondsBeforePart = 0.5;
inline constexpr double kSecondsBehindPart = 1.3;
/** So far apart two parts do not overlap in time. */
inline constexpr int kWordsBetweenParts = 8;

/** How much sound \a count words are made of, in seconds; 0 for none. Thread: Any thread. */
double secondsOfWords(qsizetype count);

/** When a part is played. */
struct PartExtent
{
    /** In seconds from the begin of each file. */
    double firstBegin = 0.0;
    double secondBegin = 0.0;
    double seconds = 0.0;
};

/**
 * When \a part of fingerprints of \a firstWords and \a secondWords words is played. It ends with a
 * file that ends there, and otherwise about where its sound does. Thread: Any thread.
 */
PartExtent extentOf(const Stretch& part, int firstWords, int secondWords);

/** Begin and end of a part are certain to half a second each: it may be found so much shorter. */
inline constexpr double kUncertainSeconds = 1.0;

/**
 * The words of a part of \a seconds, as few as it may be found with. At least 1. A part within
 * other sound has more, see isLongEnough(). Thread: Any thread.
 */
int wordsOfLength(double seconds);

/** Whether \a extent may be that of a part of \a seconds. Thread: Any thread. */
bool isLongEnough(const PartExtent& extent, double seconds);

} // namespace parts
