#include "support/tune.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace testmedia {

namespace {

constexpr double kShortestNoteSeconds = 0.25;
constexpr int kNoteLengths = 3;
constexpr int kNotesPerChord = 4;
constexpr int kHarmonics = 5;
constexpr int kPeriodSteps = 4096;
constexpr double kPeak = 30000.0;

double frequencyOf(int semitone)
{
    return 110.0 * std::exp2(semitone / 12.0);
}

struct Note
{
    double seconds;
    double melodyHz;
    std::array<double, 3> chordHz;
};

/** Uses the generator's raw numbers: the standard's distributions differ between libraries. */
int pick(std::mt19937& random, int count)
{
    return static_cast<int>(random() % static_cast<unsigned>(count));
}

std::vector<Note> compose(const Tune& tune)
{
    std::mt19937 random(tune.seed * 2654435761U + 1U);
    std::vector<Note> notes;
    std::array<double, 3> chord{};
    double seconds = 0.0;
    while (seconds < tune.seconds) {
        if (notes.size() % kNotesPerChord == 0) {
            const int root = pick(random, 12);
            const int third = 3 + pick(random, 2);
            chord = {frequencyOf(root), frequencyOf(root + third), frequencyOf(root + 7)};
        }
        const double length = kShortestNoteSeconds * (1 + pick(random, kNoteLengths));
        notes.push_back({length, frequencyOf(12 + pick(random, 25)), chord});
        seconds += length;
    }
    return notes;
}

/** One period of the instrument's sound, computed once: a sine per sample takes far too long. */
std::array<double, kPeriodSteps + 1> computePeriod()
{
    std::array<double, kPeriodSteps + 1> period{};
    for (std::size_t step = 0; step < period.size(); ++step) {
        const double phase = static_cast<double>(step) / kPeriodSteps;
        for (int harmonic = 1; harmonic <= kHarmonics; ++harmonic) {
            period[step] += std::sin(2.0 * std::numbers::pi * harmonic * phase) / harmonic;
        }
    }
    return period;
}

double voice(double frequencyHz, double time)
{
    static const std::array<double, kPeriodSteps + 1> period = computePeriod();
    const double cycles = frequencyHz * time;
    const double position = (cycles - std::floor(cycles)) * kPeriodSteps;
    const auto step = static_cast<std::size_t>(position);
    const double fraction = position - static_cast<double>(step);
    return period[step] + fraction * (period[step + 1] - period[step]);
}

/** The melody and the chord under it at \a time, which is \a sinceStart into the note. */
std::array<double, 2> mix(const Note& note, double time, double sinceStart)
{
    const double melody = voice(note.melodyHz, time) * std::exp(-2.0 * sinceStart);
    double chord = 0.0;
    for (const double frequency : note.chordHz) {
        chord += voice(frequency, time);
    }
    return {(0.30 * melody + 0.08 * chord) / 1.2, (0.25 * melody + 0.10 * chord) / 1.2};
}

template <typename T> void appendLittleEndian(QByteArray& bytes, T value)
{
    std::array<char, sizeof(T)> raw{};
    qToLittleEndian(value, raw.data());
    bytes.append(raw.data(), static_cast<qsizetype>(raw.size()));
}

} // namespace

QByteArray samplesOf(const Tune& tune)
{
    const std::vector<Note> notes = compose(tune);
    const auto frames = static_cast<qsizetype>(tune.seconds * tune.sampleRateHz);
    QByteArray bytes;
    bytes.reserve(frames * tune.channels * 2);
    std::size_t current = 0;
    double noteStart = 0.0;
    for (qsizetype frame = 0; frame < frames; ++frame) {
        const double time = static_cast<double>(frame) / tune.sampleRateHz;
        while (current + 1 < notes.size() && time - noteStart >= notes[current].seconds) {
            noteStart += notes[current].seconds;
            ++current;
        }
        const std::array<double, 2> sides = mix(notes[current], time, time - noteStart);
        for (int channel = 0; channel < tune.channels; ++channel) {
            const double level = channel < 2 ? 1.0 : 0.5;
            const double value = sides[static_cast<std::size_t>(channel % 2)] * level;
            appendLittleEndian(bytes, static_cast<qint16>(std::clamp(value, -1.0, 1.0) * kPeak));
        }
    }
    return bytes;
}

QByteArray wavFile(const QByteArray& samples, int sampleRateHz, int channels)
{
    const int bytesPerFrame = channels * 2;
    QByteArray file;
    file.append("RIFF");
    appendLittleEndian(file, static_cast<quint32>(samples.size() + 36));
    file.append("WAVEfmt ");
    appendLittleEndian(file, quint32{16});
    appendLittleEndian(file, quint16{1}); // linear PCM
    appendLittleEndian(file, static_cast<quint16>(channels));
    appendLittleEndian(file, static_cast<quint32>(sampleRateHz));
    appendLittleEndian(file,
                       static_cast<quint32>(sampleRateHz) * static_cast<quint32>(bytesPerFrame));
    appendLittleEndian(file, static_cast<quint16>(bytesPerFrame));
    appendLittleEndian(file, quint16{16}); // bits per sample
    file.append("data");
    appendLittleEndian(file, static_cast<quint32>(samples.size()));
    file.append(samples);
    return file;
}

} // namespace testmedia
