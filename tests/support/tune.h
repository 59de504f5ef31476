#pragma once

#include <QByteArray>

namespace testmedia {

/** A piece of made-up music. Equal fields give equal samples on every machine. */
struct Tune
{
    /** Tunes of different seeds have different melodies, chords and rhythms. */
    unsigned seed = 1;
    double seconds = 20.0;
    int sampleRateHz = 44100;
    /** The first two channels differ a little; further ones are quieter copies of them. */
    int channels = 2;
};

/** The tune as interleaved signed 16-bit little-endian samples. */
QByteArray samplesOf(const Tune& tune);

/** A WAV file of 16-bit samples. \a samples may be empty. */
QByteArray wavFile(const QByteArray& samples, int sampleRateHz, int channels);

} // namespace testmedia
