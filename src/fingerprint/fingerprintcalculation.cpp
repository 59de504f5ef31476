#include "fingerprint/fingerprintcalculation.h"

#include "fingerprint/featureless.h"
#include "fingerprint/ffmpegaudioreader.h"

#include <chromaprint.h>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

namespace fingerprint {

namespace {

using chromaprint::FFmpegAudioReader;

/** The library's default. Fingerprints of different algorithms cannot be compared. */
constexpr int kAlgorithm = CHROMAPRINT_ALGORITHM_TEST2;
/** More than five days: in practice the whole file is fingerprinted. */
constexpr double kLongestStreamSeconds = 500000.0;

struct ContextDeleter
{
    void operator()(ChromaprintContext* context) const
    {
        chromaprint_free(context);
    }
};
using ContextPointer = std::unique_ptr<ChromaprintContext, ContextDeleter>;

struct WordsDeleter
{
    void operator()(std::uint32_t* words) const
    {
        chromaprint_dealloc(words);
    }
};
using WordsPointer = std::unique_ptr<std::uint32_t, WordsDeleter>;

std::string requireName(const char* fileName)
{
    if (!fileName) {
        throw std::logic_error("a file name is required");
    }
    return fileName;
}

/**
 * True when the file system is asked for \a path itself: half a surrogate pair or a null character
 * is lost on the way, and the name that remains may be another file's.
 */
bool survivesEncoding(const QString& path, const QByteArray& encoded)
{
    return QString::fromUtf8(encoded.constData()) == path;
}

/** Adds a message. Returns false, so that a failing function can return it. */
bool fail(CalculationReport& report, const std::string& message,
          FailureCause cause = FailureCause::Other)
{
    report.messages.append(QByteArray::fromStdString(message));
    report.cause = cause;
    return false;
}

/** Adds the message of \a reader, which could not be opened. Returns false. */
bool failToOpen(CalculationReport& report, const FFmpegAudioReader& reader)
{
    switch (reader.ErrorCode()) {
    case AVERROR_STREAM_NOT_FOUND:
        return fail(report, reader.ErrorMessage(), FailureCause::NoAudio);
    case AVERROR_EOF:
    case AVERROR_INVALIDDATA:
    case AVERROR(EINVAL): // of another kind than those that are read, such as a playlist
        return fail(report, reader.ErrorMessage(), FailureCause::NotMedia);
    default:
        return fail(report, reader.ErrorMessage());
    }
}

void ended(CalculationReport& report, bool succeeded, const std::stop_token& stop)
{
    report.succeeded = succeeded;
    if (!succeeded && stop.stop_requested()) {
        report.stopped = true;
        report.messages.clear();
    }
}

bool appendFingerprint(ChromaprintContext* context, bool firstChunk, QList<quint32>& fingerprint,
                       CalculationReport& report)
{
    int size = 0;
    if (!chromaprint_get_raw_fingerprint_size(context, &size)) {
        return fail(report, "Could not get the fingerprinting size");
    }
    if (size <= 0) {
        return firstChunk ? fail(report, "Empty fingerprint", FailureCause::TooShort) : true;
    }
    std::uint32_t* raw = nullptr;
    if (!chromaprint_get_raw_fingerprint(context, &raw, &size)) {
        return fail(report, "Could not get the fingerprinting");
    }
    const WordsPointer words(raw);
    fingerprint.reserve(fingerprint.size() + size);
    for (int i = 0; i < size; ++i) {
        fingerprint.append(raw[i]);
    }
    return true;
}

/**
 * Feeds the samples of \a reader to \a context, at most kLongestStreamSeconds of them. A read error
 * ends the feeding and is not a failure: the part before it still has a fingerprint.
 */
bool feedStream(ChromaprintContext* context, FFmpegAudioReader& reader, const std::stop_token& stop,
                quint64& fedFrames, CalculationReport& report)
{
    const auto limit = static_cast<quint64>(kLongestStreamSeconds * reader.OutputSampleRate());
    const auto channels = static_cast<std::size_t>(reader.OutputChannels());
    bool streamDone = false;
    while (!reader.AtEnd() && !streamDone) {
        const std::int16_t* samples = nullptr;
        std::size_t frames = 0;
        if (stop.stop_requested()) {
            return false;
        }
        if (!reader.ReadBlock(&samples, &frames)) {
            fail(report, reader.ErrorMessage());
            return !stop.stop_requested();
        }
        if (limit > 0 && frames > limit - fedFrames) {
            frames = static_cast<std::size_t>(limit - fedFrames);
            streamDone = true;
        }
        if (frames == 0) {
            continue;
        }
        if (!chromaprint_feed(context, samples, static_cast<int>(frames * channels))) {
            return fail(report, "Could not process audio data");
        }
        fedFrames += frames;
    }
    return true;
}

bool processFile(ChromaprintContext* context, FFmpegAudioReader& reader, std::string fileName,
                 const std::stop_token& stop, QList<quint32>& fingerprint,
                 CalculationReport& report)
{
    if (fileName == "-") {
        fileName = "pipe:0";
    }
    if (!reader.Open(fileName)) {
        return failToOpen(report, reader);
    }
    if (!chromaprint_start(context, reader.OutputSampleRate(), reader.OutputChannels())) {
        return fail(report, "Could not initialize the fingerprinting process");
    }
    quint64 fedFrames = 0;
    if (!feedStream(context, reader, stop, fedFrames, report)) {
        return false;
    }
    if (!chromaprint_finish(context)) {
        return fail(report, "Could not finish the fingerprinting process");
    }
    if (fedFrames == 0) {
        return fail(report, "Not enough audio data", FailureCause::TooShort);
    }
    return appendFingerprint(context, true, fingerprint, report);
}

/**
 * Whether a file that states \a statedMs (-1: nothing) and has too little sound may once have had
 * more.
 */
bool isCutShort(const CalculationReport& report, int statedMs)
{
    // A length that a container states without its parts may be rounded up.
    constexpr int kToleranceMs = 1000;
    const bool brokeOff = report.messages.size() > 1;
    return brokeOff || statedMs >= kShortestMs + kToleranceMs;
}

/** Sets inputFailed where reading the file failed. Requires: \a reader is not closed yet. */
void noteInput(CalculationReport& report, const FFmpegAudioReader& reader)
{
    report.inputFailed =
        report.inputFailed || reader.HadReadError() || reader.ErrorCode() == AVERROR(EIO);
}

/** What a calculation computes beside its report. */
struct Results
{
    QList<quint32>& fingerprint;
    int& durationMs;
    int& sampleRateHz;
    int& channels;
    FileFacts& facts;
};

/** Requires: the calculation succeeded; \a reader is not closed yet. */
FileFacts factsAfter(const CalculationReport& report, const FFmpegAudioReader& reader)
{
    QString readError = QString::fromUtf8(report.messages.value(0));
    if (readError.isEmpty() && report.inputFailed) {
        // Most formats take it for the end of the file, and no message remains.
        readError = QStringLiteral("Input/output error");
    }
    return factsOf(reader.Facts(), readError);
}

bool calculateInto(CalculationReport& report, const char* fileName, const Results& results,
                   const std::stop_token& stop)
{
    const std::string name = requireName(fileName);

    // The file is opened twice: a reader without a requested format has that of the source.
    FFmpegAudioReader probe;
    probe.SetStopToken(stop);
    av_log_set_level(AV_LOG_QUIET);
    const bool opened = probe.Open(name);
    noteInput(report, probe);
    if (!opened) {
        return failToOpen(report, probe);
    }
    results.durationMs = probe.DurationMs();
    results.sampleRateHz = probe.OutputSampleRate();
    results.channels = probe.OutputChannels();
    probe.Close();

    FFmpegAudioReader reader;
    reader.SetStopToken(stop);
    av_log_set_level(AV_LOG_QUIET);
    const ContextPointer context(chromaprint_new(kAlgorithm));
    reader.SetOutputChannels(chromaprint_get_num_channels(context.get()));
    reader.SetOutputSampleRate(chromaprint_get_sample_rate(context.get()));
    const bool succeeded =
        processFile(context.get(), reader, name, stop, results.fingerprint, report);
    noteInput(report, reader);
    if (succeeded) {
        results.facts = factsAfter(report, reader);
    }
    reader.Close();
    if (report.cause == FailureCause::TooShort && isCutShort(report, results.durationMs)) {
        report.cause = FailureCause::CutShort;
    }
    return succeeded;
}

/**
 * Computes the fingerprint of the file and its properties, as fpcalc_main() does, and reports what
 * went wrong.
 */
CalculationReport calculate(const char* fileName, const Results& results,
                            const std::stop_token& stop)
{
    CalculationReport report;
    const bool succeeded = calculateInto(report, fileName, results, stop);
    ended(report, succeeded, stop);
    return report;
}

void printAndThrow(const CalculationReport& report)
{
    printMessages(report);
    if (!report.succeeded) {
        throw std::runtime_error("ERROR");
    }
}

} // namespace

FingerprintOutcome fingerprintFile(const QString& path, const std::stop_token& stop)
{
    const FingerprintRecord failed(path, {}, 0, 0, 0);
    const QByteArray fileName = path.toUtf8();
    if (!survivesEncoding(path, fileName)) {
        CalculationReport report;
        report.messages.append("Could not open the input file (Invalid argument)");
        return {failed, report};
    }
    QList<quint32> words;
    int durationMs = 0;
    int sampleRateHz = 0;
    int channels = 0;
    FileFacts facts;
    const CalculationReport report =
        calculate(fileName.constData(), {words, durationMs, sampleRateHz, channels, facts}, stop);
    if (!report.succeeded) {
        return {failed, report};
    }
    facts.isFeatureless = isFeatureless(words);
    return {{path, words, durationMs, sampleRateHz, channels}, report, facts};
}

void printMessages(const CalculationReport& report)
{
    for (const QByteArray& message : report.messages) {
        std::fprintf(stderr, "ERROR: %s\n", message.constData());
    }
}

} // namespace fingerprint

int fpcalc_main(const char* fileName, QList<quint32>& fingerprint, int& durationMs,
                int& sampleRateHz, int& channels)
{
    fingerprint::FileFacts unused = {};
    fingerprint::printAndThrow(fingerprint::calculate(
        fileName, {fingerprint, durationMs, sampleRateHz, channels, unused}, {}));
    return 0;
}

int ProcessFile(ChromaprintContext* context, chromaprint::FFmpegAudioReader& reader,
                const char* fileName, QList<quint32>& fingerprint)
{
    fingerprint::CalculationReport report;
    report.succeeded = fingerprint::processFile(context, reader, fingerprint::requireName(fileName),
                                                std::stop_token(), fingerprint, report);
    fingerprint::printAndThrow(report);
    return 0;
}

void PrintResult(ChromaprintContext* context, chromaprint::FFmpegAudioReader& /*reader*/,
                 bool firstChunk, double /*timestamp*/, double /*duration*/,
                 QList<quint32>& fingerprint)
{
    fingerprint::CalculationReport report;
    report.succeeded = fingerprint::appendFingerprint(context, firstChunk, fingerprint, report);
    fingerprint::printAndThrow(report);
}

double GetCurrentTimestamp()
{
    using Microseconds = std::chrono::microseconds;
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    const auto count = std::chrono::duration_cast<Microseconds>(sinceEpoch).count();
    return static_cast<double>(count) / 1000000.0;
}
