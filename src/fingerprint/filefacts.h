#pragma once

#include <QString>
#include <QtGlobal>

namespace chromaprint {
struct StreamFacts;
}

namespace fingerprint {

/** How much of a file's sound was read. */
enum class Completeness {
    /** Not known, since an older version read the file. */
    Unknown,
    /** Nothing shows that a part is missing. */
    Whole,
    /** The sound broke off, or is shorter than the file states. */
    Partial,
};

/** What a file is and what it is worth, beside its fingerprint. */
struct FileFacts
{
    /** FFmpeg's short names, such as "matroska,webm" and "flac"; empty if unknown. */
    QString container;
    QString codec;
    /** Of the sound alone, in bit/s; 0 if unknown. */
    qint64 bitRate = 0;
    /** Whether the codec is lossless. */
    bool isLossless = false;
    /** 0 where the codec does not keep samples of a fixed size, as MP3. */
    int bitsPerSample = 0;
    qint64 sizeBytes = 0;
    /** When the content was last written, in milliseconds since 1970. */
    qint64 modifiedMs = 0;
    Completeness completeness = Completeness::Unknown;
    /** Why the sound is partial; empty if it is not, or if that is unknown. */
    QString breakReason;
    /** The length that the file states; -1 if it states none. */
    qint64 statedMs = -1;
    /** The length of what was decoded; -1 if unknown. */
    qint64 decodedMs = -1;
    /** Whether there is nothing to recognise, see isFeatureless(). */
    bool isFeatureless = false;

    /** Unknown counts as partial: what is acted on must be known to be whole. */
    bool countsAsPartial() const
    {
        return completeness != Completeness::Whole;
    }

    bool operator==(const FileFacts&) const = default;
};

/**
 * Whether \a decodedMs is less than \a statedMs by more than a second and by more than one percent:
 * delays of codecs and rounded headers make smaller differences. False if \a statedMs is negative.
 * Thread: Any thread.
 */
bool isCutShort(qint64 statedMs, qint64 decodedMs);

/**
 * The facts of a file that was read until its end, or until the error \a readError if that is not
 * empty. Leaves out those that \a stream does not have: size, time and isFeatureless.
 * Thread: Any thread.
 */
FileFacts factsOf(const chromaprint::StreamFacts& stream, const QString& readError);

} // namespace fingerprint
