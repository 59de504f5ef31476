/*
 * Damaged media through the reader and the fingerprint calculation.
 *
 * The mutations are made here and not by a fuzzer that is led by coverage: the code that a file
 * leads through is FFmpeg's and Chromaprint's, which come compiled and report none. What counts
 * then is the number of cases, and small files within one process give the most of them.
 */
#include "campaign.h"
#include "fingerprint/audiofilediscovery.h"
#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/fingerprintcalculation.h"
#include "mutation.h"
#include "seedmedia.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

extern "C" {
#include <libavutil/log.h>
}

#include <utility>

namespace {

struct Case
{
    QString suffix;
    QByteArray content;
    /** Read in the format of the source, not in that of the fingerprint. */
    bool unconverted = false;
};

class MediaHarness
{
public:
    MediaHarness()
        : folder(fuzz::folderTemplate())
        , seeds(fuzz::makeSeeds())
    {
        for (const fuzz::Seed& seed : std::as_const(seeds)) {
            contents.append(seed.content);
        }
    }

    Case makeCase(quint64 seed, quint64 number) const;
    void runCase(quint64 seed, quint64 number) const;

private:
    QTemporaryDir folder;
    QList<fuzz::Seed> seeds;
    QList<QByteArray> contents;
};

Case MediaHarness::makeCase(quint64 seed, quint64 number) const
{
    fuzz::Random random = fuzz::randomFor(seed, number);
    const auto index =
        static_cast<qsizetype>(fuzz::pick(random, static_cast<quint64>(seeds.size())));
    Case made;
    made.suffix = seeds.at(index).suffix;
    if (fuzz::pick(random, 8) == 0) {
        const QStringList& patterns = fingerprint::audioFileNamePatterns();
        const auto other =
            static_cast<qsizetype>(fuzz::pick(random, static_cast<quint64>(patterns.size())));
        made.suffix = patterns.at(other).sliced(2);
    }
    made.unconverted = fuzz::pick(random, 8) == 0;
    made.content = fuzz::mutated(contents.at(index), contents, random);
    return made;
}

/** Reads every sample that is handed out, so that a block which is not there is noticed. */
void readUnconverted(const std::string& path)
{
    chromaprint::FFmpegAudioReader reader;
    if (!reader.Open(path)) {
        return;
    }
    while (!reader.AtEnd()) {
        const std::int16_t* samples = nullptr;
        std::size_t frames = 0;
        if (!reader.ReadBlock(&samples, &frames)) {
            return;
        }
        int blockSum = 0;
        const std::size_t count = frames * static_cast<std::size_t>(reader.OutputChannels());
        for (std::size_t i = 0; i < count; ++i) {
            blockSum += samples[i] & 1;
        }
        [[maybe_unused]] const volatile int sum = blockSum;
    }
}

void checkFingerprint(const QByteArray& path)
{
    const auto [record, report, facts] = fingerprint::fingerprintFile(QString::fromUtf8(path));
    const auto& [recordPath, words, durationMs, sampleRateHz, channels] = record;
    fuzz::require(!report.stopped, "stopped without a request");
    fuzz::require(report.succeeded == !words.isEmpty(), "success and fingerprint disagree");
    fuzz::require(report.succeeded || !report.messages.isEmpty(), "a failure without a reason");
    fuzz::require(!report.succeeded || (sampleRateHz > 0 && channels > 0),
                  "a fingerprint of no rate or no channels");
}

void MediaHarness::runCase(quint64 seed, quint64 number) const
{
    const Case made = makeCase(seed, number);
    QFile file(folder.filePath(QStringLiteral("case.") + made.suffix));
    fuzz::require(file.open(QFile::WriteOnly | QFile::Truncate) &&
                      file.write(made.content) == made.content.size(),
                  "the case could not be written");
    file.close();
    const QByteArray path = QFile::encodeName(file.fileName());
    if (made.unconverted) {
        readUnconverted(path.toStdString());
    } else {
        checkFingerprint(path);
    }
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const QCoreApplication application(argumentCount, arguments);
    const fuzz::Options options = fuzz::parseOptions(QCoreApplication::arguments());
    av_log_set_level(AV_LOG_QUIET); // a bare reader leaves that to its caller
    const MediaHarness media;
    fuzz::Harness harness;
    harness.name = QStringLiteral("media");
    harness.runCase = [&media](quint64 seed, quint64 number) { media.runCase(seed, number); };
    harness.contentOf = [&media](quint64 seed, quint64 number) {
        return media.makeCase(seed, number).content;
    };
    return fuzz::run(harness, options);
}
