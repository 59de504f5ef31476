// Opens and closes readers, so that a test can count what the leak check finds afterwards.
//
// Usage: readerleaks <way> <path> <times>
// Prints how many of the readers could be opened.

#include "fingerprint/ffmpegaudioreader.h"
#include "fingerprint/fingerprintcalculation.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void readAll(chromaprint::FFmpegAudioReader& reader)
{
    const std::int16_t* samples = nullptr;
    std::size_t frames = 0;
    while (!reader.AtEnd() && reader.ReadBlock(&samples, &frames)) {
    }
}

/** One round of \a way; how many readers were opened. */
int useReaders(const char* way, const char* path)
{
    if (std::strcmp(way, "fingerprint") == 0) {
        fingerprint::fingerprintFile(QString::fromUtf8(path));
        return 2;
    }
    chromaprint::FFmpegAudioReader reader;
    reader.SetOutputSampleRate(11025);
    reader.SetOutputChannels(1);
    int opened = reader.Open(path) ? 1 : 0;
    if (std::strcmp(way, "again") == 0) {
        opened += reader.Open(path) ? 1 : 0;
    }
    if (std::strcmp(way, "open") != 0) {
        readAll(reader);
    }
    if (std::strcmp(way, "close") == 0) {
        reader.Close();
        reader.Close();
    }
    return opened;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    if (argumentCount != 4) {
        return 2;
    }
    int opened = 0;
    for (int times = std::atoi(arguments[3]); times > 0; --times) {
        opened += useReaders(arguments[1], arguments[2]);
    }
    std::printf("%d\n", opened);
    return 0;
}
