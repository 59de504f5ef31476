#pragma once

#include "fingerprint/filefacts.h"
#include "fingerprint/fingerprintrecord.h"

#include <QByteArrayList>
#include <QList>
#include <QString>

#include <stop_token>

struct ChromaprintContextPrivate;
using ChromaprintContext = ChromaprintContextPrivate;

namespace chromaprint {
class FFmpegAudioReader;
}

namespace fingerprint {

/**
 * The length below which a file has too little sound for a fingerprint. Chromaprint needs 2.72 s:
 * 20 windows of 4,096 samples at 11,025 Hz, each 1,365 samples after the one before. A decoder or a
 * converter may hold back a little at the end.
 */
inline constexpr int kShortestMs = 3000;

/** Why a file has no fingerprint. */
enum class FailureCause {
    Other,    ///< As the last message has it.
    NotMedia, ///< No format that is read, or damaged where it begins.
    NoAudio,  ///< No stream of audio.
    TooShort, ///< Less sound than a fingerprint takes, and all that the file has.
    CutShort, ///< Less sound than that, since the file breaks off or has less than it states.
};

/** How a calculation ended. */
struct CalculationReport
{
    /** True when the whole file, or the part before a break in it, was fingerprinted. */
    bool succeeded = false;
    /** True when a requested stop ended the calculation; then it failed and has no messages. */
    bool stopped = false;
    /**
     * True when the disk or the network may have caused the failure, or a break: the next attempt
     * may give another result.
     */
    bool inputFailed = false;
    /** Of a calculation that failed and was not stopped. */
    FailureCause cause = FailureCause::Other;
    /**
     * What went wrong, in order, without prefix or newline. A failed calculation has its reason as
     * the last entry. A successful one has an entry when the file broke off in the middle: the
     * fingerprint is then that of the part before the break.
     */
    QByteArrayList messages;
};

/** A record, how its calculation ended, and what the file is. */
struct FingerprintOutcome
{
    FingerprintRecord record;
    CalculationReport report;
    /** Without size and time. As they are by default if the calculation failed. */
    FileFacts facts = {};
};

/**
 * Fingerprints the file at \a path. Prints nothing.
 *
 * A stop requested through \a stop ends the calculation between two blocks, and inside FFmpeg
 * wherever it asks its interrupt callback.
 *
 * Errors: a file that cannot be opened, decoded or fingerprinted gives the record
 * (path, empty, 0, 0, 0), and so does a stop; the report has the reason. Throws std::bad_alloc.
 * Thread: Any thread, blocking.
 */
FingerprintOutcome fingerprintFile(const QString& path, const std::stop_token& stop = {});

/**
 * Writes each message of \a report to standard error as "ERROR: <message>\n".
 * Thread: Any thread.
 */
void printMessages(const CalculationReport& report);

} // namespace fingerprint

/**
 * Computes the raw fingerprint of a whole audio file, and the file's properties, in the manner of a
 * command: messages go to standard error as "ERROR: <message>\n". Returns 0.
 *
 * \param fileName    the path in UTF-8
 * \param fingerprint the words are appended here, in Chromaprint's order
 * \param durationMs  length in milliseconds, -1 when neither stream nor container has one
 * \param sampleRateHz, channels  those of the source stream, not of the fingerprint's working
 * format
 *
 * The three integers are written as soon as the file's properties are known, before the
 * fingerprint is computed, so they may be set although the calculation failed.
 *
 * Errors: throws std::runtime_error("ERROR"), or std::logic_error for a null \a fileName.
 * Thread: Any thread, blocking.
 */
int fpcalc_main(const char* fileName, QList<quint32>& fingerprint, int& durationMs,
                int& sampleRateHz, int& channels);

/**
 * Decodes \a fileName ("-" is standard input) into \a context and appends the fingerprint. The
 * return value has no meaning.
 *
 * Requires: the output rate and channels of \a reader are those that \a context asks for.
 * Errors: writes "ERROR: <message>\n" to standard error and throws std::runtime_error("ERROR"). A
 * read error in the middle is written and not thrown. Throws std::logic_error for a null name.
 * Thread: Reentrant: one object per thread.
 */
int ProcessFile(ChromaprintContext* context, chromaprint::FFmpegAudioReader& reader,
                const char* fileName, QList<quint32>& fingerprint);

/**
 * Appends the raw fingerprint held by \a context to \a fingerprint. \a timestamp and \a duration
 * (seconds) are not used.
 *
 * Errors: writes "ERROR: <message>\n" to standard error and throws std::runtime_error("ERROR").
 * An empty fingerprint is an error in the first chunk only.
 * Thread: Reentrant: one object per thread.
 */
void PrintResult(ChromaprintContext* context, chromaprint::FFmpegAudioReader& reader,
                 bool firstChunk, double timestamp, double duration, QList<quint32>& fingerprint);

/**
 * Returns the system clock's time in seconds since its epoch, with microsecond resolution.
 * Thread: Any thread.
 */
double GetCurrentTimestamp();
