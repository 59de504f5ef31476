#pragma once

#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/fingerprintcalculation.h"
#include "support/likeness.h"

#include <QByteArray>
#include <QString>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdint>

/** Short ways to read whole files, for tests of the reader and of what builds on it. */
namespace reading {

/** Readers leave FFmpeg's own messages to their callers; tests would drown in them. */
inline void silenceLibraries()
{
    av_log_set_level(AV_LOG_QUIET);
}

/** All that a reader gave from one opened file. */
struct Decoded
{
    QByteArray samples; // the blocks' bytes, joined
    qint64 frames = 0;
    int blocks = 0;
    /** False when a block could not be read; the reader knows why. */
    bool completed = false;
};

inline Decoded readToEnd(chromaprint::FFmpegAudioReader& reader)
{
    Decoded decoded;
    while (!reader.AtEnd()) {
        const std::int16_t* samples = nullptr;
        std::size_t frames = 0;
        if (!reader.ReadBlock(&samples, &frames)) {
            return decoded;
        }
        ++decoded.blocks;
        decoded.frames += static_cast<qint64>(frames);
        decoded.samples.append(reinterpret_cast<const char*>(samples),
                               static_cast<qsizetype>(frames) * 2 * reader.OutputChannels());
    }
    decoded.completed = true;
    return decoded;
}

inline QByteArray errorOf(const chromaprint::FFmpegAudioReader& reader)
{
    return QByteArray::fromStdString(reader.ErrorMessage());
}

/** The error of Open() for a file; empty when it opens. */
inline QByteArray openError(const QString& path)
{
    chromaprint::FFmpegAudioReader reader;
    return reader.Open(path.toStdString()) ? QByteArray() : errorOf(reader);
}

/** A file's record and report, by the names of their parts. */
struct Fingerprinted
{
    QList<quint32> words;
    int durationMs = 0;
    int sampleRateHz = 0;
    int channels = 0;
    fingerprint::CalculationReport report;
};

inline Fingerprinted fingerprinted(const QString& path, const std::stop_token& stop = {})
{
    const auto [record, report, facts] = fingerprint::fingerprintFile(path, stop);
    const auto& [recordPath, words, durationMs, sampleRateHz, channels] = record;
    return {words, durationMs, sampleRateHz, channels, report};
}

inline FingerprintRecord recordOf(const QString& path)
{
    return fingerprint::fingerprintFile(path).record;
}

inline const QList<quint32>& wordsOf(const FingerprintRecord& record)
{
    return std::get<1>(record);
}

inline int likeness(const FingerprintRecord& first, const FingerprintRecord& second)
{
    return testmedia::likenessPercent(wordsOf(first), wordsOf(second));
}

/** As a record of a file that could not be fingerprinted is. */
inline bool isFailure(const FingerprintRecord& record, const QString& path)
{
    return record == FingerprintRecord(path, {}, 0, 0, 0);
}

} // namespace reading
