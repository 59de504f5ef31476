#include "parts/wordplaces.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace parts {

namespace {

/** The upper bits of a word, by which ranges are made. */
constexpr int kBucketBits = 16;
constexpr int kBucketShift = 32 - kBucketBits;

/** Calls \a visit(position) for each word of \a words that differs from the one before it. */
void visitChanges(const QList<quint32>& words, const auto& visit)
{
    for (qsizetype i = 0; i < words.size(); ++i) {
        if (i == 0 || words.at(i) != words.at(i - 1)) {
            visit(i);
        }
    }
}

} // namespace

std::vector<WordRange> wordRanges(const QList<FingerprintRecord>& records, qsizetype mostPlaces)
{
    std::vector<qsizetype> placesOf(std::size_t(1) << kBucketBits);
    for (const FingerprintRecord& record : records) {
        const QList<quint32>& words = std::get<1>(record);
        visitChanges(words, [&](qsizetype i) { ++placesOf[words.at(i) >> kBucketShift]; });
    }
    std::vector<WordRange> ranges = {{0, std::numeric_limits<quint32>::max()}};
    qsizetype places = 0;
    for (std::size_t bucket = 0; bucket < placesOf.size(); ++bucket) {
        const auto begin = static_cast<quint32>(bucket << kBucketShift);
        if (places > 0 && placesOf[bucket] > 0 && places + placesOf[bucket] > mostPlaces) {
            ranges.back().last = begin - 1;
            ranges.push_back({begin, std::numeric_limits<quint32>::max()});
            places = 0;
        }
        places += placesOf[bucket];
    }
    return ranges;
}

void collectPlaces(const QList<FingerprintRecord>& records, WordRange range,
                   std::vector<WordPlace>& places)
{
    places.clear();
    for (int record = 0; record < records.size(); ++record) {
        const QList<quint32>& words = std::get<1>(records.at(record));
        visitChanges(words, [&](qsizetype i) {
            const quint32 word = words.at(i);
            if (word < range.first || word > range.last) {
                return;
            }
            const quint32 context = words.value(i + kContextDistance);
            places.push_back({word, record, static_cast<int>(i), context});
        });
    }
    std::sort(places.begin(), places.end(), [](const WordPlace& left, const WordPlace& right) {
        return std::tie(left.word, left.record, left.position) <
               std::tie(right.word, right.record, right.position);
    });
}

} // namespace parts
