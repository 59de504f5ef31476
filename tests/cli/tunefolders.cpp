#include "tunefolders.h"

void addTuneFolders(const testmedia::MediaFolder& media)
{
    for (unsigned seed = 1; seed <= 3; ++seed) {
        const testmedia::Tune tune{.seed = seed, .seconds = 10.0};
        media.makeTune(QStringLiteral("first/%1.flac").arg(seed), tune);
        media.makeTune(QStringLiteral("second/ünï %1.mp3").arg(seed), tune);
    }
    media.write(QStringLiteral("first/noise.ogg"), "no audio");
}
