#pragma once

#include <QByteArrayList>
#include <QList>

#include <stop_token>

struct ChromaprintContextPrivate;
using ChromaprintContext = ChromaprintContextPrivate;

namespace chromaprint {
class FFmpegAudioReader;
}

namespace fingerprint {

/** How a calculation ended. */
struct CalculationReport
{
    /** True when the fingerprint was appended. */
    bool succeeded = false;
    /** True when a requested stop ended the calculation; then it did not succeed and is silent. */
    bool stopped = false;
    /**
     * True when the disk or the network, and not the file, may be to blame for what is missing:
     * another time the result may be another.
     */
    bool inputFailed = false;
    /**
     * What went wrong, in order, without prefix or newline. A failed calculation has its reason as
     * the last entry. A successful one has an entry when the file broke off in the middle: the
     * fingerprint is then that of the part before the break.
     */
    QByteArrayList messages;
};

/**
 * Computes the raw fingerprint of a whole audio file, and the file's properties.
 *
 * \param fileName    the path in UTF-8; must not be null
 * \param fingerprint the words are appended here, in Chromaprint's order
 * \param durationMs  length in milliseconds, -1 when neither stream nor container tells it
 * \param sampleRateHz, channels  those of the source stream, not of the fingerprint's working
 * format
 *
 * The three integers are written as soon as the file's properties are known, before the
 * fingerprint is computed, so they may be set although the calculation failed.
 *
 * Errors: in the report; nothing is printed. Throws std::logic_error for a null \a fileName.
 * A stop requested through \a stop is answered between two blocks, and inside FFmpeg wherever it
 * asks its interrupt callback.
 * Thread: any thread, blocking. Reentrant.
 */
CalculationReport calculate(const char* fileName, QList<quint32>& fingerprint, int& durationMs,
                            int& sampleRateHz, int& channels, const std::stop_token& stop = {});

/**
 * A duration of \a duration units of \a timeBaseNumerator / \a timeBaseDenominator seconds, in
 * milliseconds: (numerator * 1000, in 32 bits) * duration / denominator, truncated toward zero and
 * narrowed to int. Overflow wraps around, as durations in files are other people's numbers.
 * A denominator of 0 gives -1. Reentrant.
 */
int durationInMilliseconds(int timeBaseNumerator, int timeBaseDenominator, qint64 duration);

} // namespace fingerprint

/**
 * As fingerprint::calculate(), for callers that want the command-line manner: each message is
 * written to standard error as "ERROR: <message>\n".
 *
 * Returns 0. Errors: throws std::runtime_error("ERROR"), or std::logic_error for a null name.
 * Thread: any thread, blocking. Reentrant.
 */
int fpcalc_main(const char* fileName, QList<quint32>& fingerprint, int& durationMs,
                int& sampleRateHz, int& channels);

/**
 * Decodes \a fileName ("-" stands for standard input) into \a context and appends the fingerprint.
 * The return value carries nothing.
 *
 * Requires: the output rate and channels of \a reader are those that \a context asks for.
 * Errors: writes "ERROR: <message>\n" to standard error and throws std::runtime_error("ERROR"),
 * but for a read error in the middle, which is written and not thrown.
 * Thread: any thread, blocking. Reentrant: one context and reader per thread.
 */
int ProcessFile(ChromaprintContext* context, chromaprint::FFmpegAudioReader& reader,
                const char* fileName, QList<quint32>& fingerprint);

/**
 * Appends the raw fingerprint held by \a context to \a fingerprint. \a timestamp and \a duration
 * (seconds) are accepted and not used.
 *
 * Errors: writes "ERROR: <message>\n" to standard error and throws std::runtime_error("ERROR").
 * An empty fingerprint is an error in the first chunk only.
 * Thread: any thread. Reentrant: one context per thread.
 */
void PrintResult(ChromaprintContext* context, chromaprint::FFmpegAudioReader& reader,
                 bool firstChunk, double timestamp, double duration, QList<quint32>& fingerprint);

/** The system clock's time in seconds since its epoch, with microsecond resolution. */
double GetCurrentTimestamp();
