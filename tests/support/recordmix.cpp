#include "recordmix.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numeric>
#include <random>
#include <utility>

namespace recordmix {

namespace {

/** Chromaprint makes a word for each step of 4096/3 samples at 11,025 Hz. */
constexpr double kWordsPerSecond = 11025.0 * 3.0 / 4096.0;
constexpr int kOneCopyIn = 100;
constexpr int kSampleRateHz = 44100;
constexpr int kChannels = 2;
constexpr qsizetype kLargestShift = 39;
/** Two recordings whose words differ in a fifth of the bits are the same one, 60 percent alike. */
constexpr double kLargestErrorRate = 0.2;
constexpr qsizetype kLongestCopyShift = 16;

using Random = std::mt19937;

double between(Random& random, double least, double most)
{
    // The standard's distributions differ from library to library.
    return least + (most - least) * static_cast<double>(random()) / 4294967295.0;
}

qsizetype below(Random& random, qsizetype count)
{
    return static_cast<qsizetype>(random() % static_cast<quint64>(count));
}

/** Lognormal around \a median, by the method of Box and Muller. */
double lognormal(Random& random, double median, double spread)
{
    const double radius = std::sqrt(-2.0 * std::log(between(random, 1e-9, 1.0)));
    return median * std::exp(spread * radius * std::cos(between(random, 0.0, 2.0 * 3.14159265)));
}

double songSeconds(Random& random)
{
    return std::clamp(lognormal(random, 230.0, 0.4), 5.0, 7200.0);
}

double secondsOf(Mix mix, Random& random)
{
    constexpr std::array kJingles = {5.0,  10.0, 15.0, 20.0, 25.0, 30.0,
                                     40.0, 45.0, 60.0, 75.0, 90.0, 120.0};
    constexpr std::array kShows = {900.0, 1500.0, 1800.0, 3300.0, 3600.0};
    switch (mix) {
    case Mix::Songs:
    case Mix::Noise:
        return songSeconds(random);
    case Mix::Radio: {
        const double kind = between(random, 0.0, 1.0);
        if (kind < 0.68) {
            return kJingles[static_cast<std::size_t>(below(random, std::ssize(kJingles)))];
        }
        return kind < 0.96 ? songSeconds(random)
                           : kShows[static_cast<std::size_t>(below(random, std::ssize(kShows)))];
    }
    case Mix::Effects:
        return std::clamp(lognormal(random, 4.0, 1.02), 2.8, 600.0);
    }
    return 0.0;
}

Words noise(Random& random, qsizetype count)
{
    Words words(count);
    std::generate(words.begin(), words.end(), [&random] { return random(); });
    return words;
}

/** A piece of one recording, at a speed of its own. */
void appendPiece(Words& words, const Material& material, Random& random, qsizetype count)
{
    const Words& recording = material.recordings.at(below(random, material.recordings.size()));
    const double speed = between(random, 0.9, 1.1);
    const auto begin = static_cast<double>(below(random, recording.size()));
    for (qsizetype i = 0; i < count; ++i) {
        const auto at = static_cast<qsizetype>(begin + speed * static_cast<double>(i));
        words.append(recording.at(at % recording.size()));
    }
}

/** The places of a word's sixteen fields of two bits. */
using Permutation = std::array<unsigned, 16>;

Permutation randomPermutation(Random& random)
{
    Permutation places{};
    std::iota(places.begin(), places.end(), 0U);
    for (std::size_t i = places.size() - 1; i > 0; --i) {
        std::swap(places[i],
                  places[static_cast<std::size_t>(below(random, static_cast<qsizetype>(i) + 1))]);
    }
    return places;
}

quint32 permuted(quint32 word, const Permutation& places)
{
    quint32 result = 0;
    for (unsigned field = 0; field < places.size(); ++field) {
        result |= ((word >> (2 * field)) & 3U) << (2 * places[field]);
    }
    return result;
}

Words spliced(const Material& material, Random& random, qsizetype count)
{
    Words words;
    words.reserve(count);
    while (words.size() < count) {
        const auto piece = static_cast<qsizetype>(between(random, 20.0, 120.0) * kWordsPerSecond);
        appendPiece(words, material, random, std::min(piece, count - words.size()));
    }
    const Permutation places = randomPermutation(random);
    for (quint32& word : words) {
        word = permuted(word, places);
    }
    return words;
}

FingerprintRecord copyOf(const FingerprintRecord& original, const QString& path,
                         const Material& material, Random& random)
{
    const auto& [originalPath, originalWords, durationMs, sampleRateHz, channels] = original;
    const qsizetype shift =
        std::min(below(random, kLongestCopyShift + 1), originalWords.size() - 1);
    Words words = originalWords.mid(shift);
    const qsizetype first = material.errors.isEmpty() ? 0 : below(random, material.errors.size());
    const Permutation places = randomPermutation(random);
    for (qsizetype i = 0; i < words.size() && !material.errors.isEmpty(); ++i) {
        words[i] ^= permuted(material.errors.at((first + i) % material.errors.size()), places);
    }
    return {path, words,
            durationMs - static_cast<int>(1000.0 * static_cast<double>(shift) / kWordsPerSecond),
            sampleRateHz, channels};
}

/** The bits in which words differ where \a second is laid against \a first at a shift. */
Words differences(const Words& first, const Words& second, qsizetype shift)
{
    Words result;
    for (qsizetype i = std::max<qsizetype>(0, -shift);
         i < second.size() && i + shift < first.size(); ++i) {
        result.append(first.at(i + shift) ^ second.at(i));
    }
    return result;
}

double errorRate(const Words& errors)
{
    const auto bits =
        std::accumulate(errors.cbegin(), errors.cend(), qint64{0},
                        [](qint64 sum, quint32 word) { return sum + std::popcount(word); });
    return errors.isEmpty()
               ? 1.0
               : static_cast<double>(bits) / (32.0 * static_cast<double>(errors.size()));
}

} // namespace

Material materialOf(const QList<FingerprintRecord>& records)
{
    Material material;
    for (const FingerprintRecord& record : records) {
        if (!std::get<1>(record).isEmpty()) {
            material.recordings.append(std::get<1>(record));
        }
    }
    for (qsizetype i = 0; i < material.recordings.size(); ++i) {
        for (qsizetype j = i + 1; j < material.recordings.size(); ++j) {
            Words fewest;
            for (qsizetype shift = -kLargestShift; shift <= kLargestShift; ++shift) {
                const Words errors =
                    differences(material.recordings.at(i), material.recordings.at(j), shift);
                if (errorRate(errors) < errorRate(fewest)) {
                    fewest = errors;
                }
            }
            if (errorRate(fewest) <= kLargestErrorRate) {
                material.errors += fewest;
            }
        }
    }
    return material;
}

QList<FingerprintRecord> makeRecords(int count, Mix mix, const Material& material, unsigned seed)
{
    Random random(seed);
    QList<FingerprintRecord> records;
    records.reserve(count);
    for (int i = 0; i < count; ++i) {
        const QString path = QStringLiteral("/music/%1.mp3").arg(i, 8, 10, QLatin1Char('0'));
        if (i > 0 && i % kOneCopyIn == 0) {
            records.append(copyOf(records.at(below(random, i)), path, material, random));
            continue;
        }
        const double seconds = secondsOf(mix, random);
        const auto words = static_cast<qsizetype>(seconds * kWordsPerSecond);
        const bool isNoise = mix == Mix::Noise || material.recordings.isEmpty();
        records.append({path, isNoise ? noise(random, words) : spliced(material, random, words),
                        static_cast<int>(seconds * 1000.0), kSampleRateHz, kChannels});
    }
    return records;
}

} // namespace recordmix
