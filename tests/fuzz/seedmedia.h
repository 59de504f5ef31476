#pragma once

#include "support/media.h"

#include <QByteArray>
#include <QList>
#include <QString>

/** Sound media to be damaged: as many codecs and containers as the ffmpeg program can write. */
namespace fuzz {

struct Seed
{
    /** The suffix that a file of its kind is found by; "mp3" where there is no such suffix. */
    QString suffix;
    QByteArray content;
};

/**
 * Makes the seeds, most of them a quarter of a second long: small files make many cases a second.
 * A dozen are long enough to have a fingerprint. What this machine's ffmpeg cannot write is left
 * out; fewer than 40 pairs of codec and container end the program.
 */
QList<Seed> makeSeeds();

} // namespace fuzz
