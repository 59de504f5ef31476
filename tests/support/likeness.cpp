#include "support/likeness.h"

#include <algorithm>

namespace testmedia {

namespace {

constexpr qsizetype kShifts = 40;
constexpr int kBitsPerWord = 32;

int bestOfShifts(const QList<quint32>& shifted, const QList<quint32>& fixed)
{
    double best = 0.0;
    for (qsizetype shift = 0; shift < std::min(kShifts, shifted.size()); ++shift) {
        const qsizetype overlap = std::min(shifted.size() - shift, fixed.size());
        if (overlap == 0) {
            continue;
        }
        qint64 errors = 0;
        for (qsizetype word = 0; word < overlap; ++word) {
            for (int bit = 0; bit < kBitsPerWord; ++bit) {
                const quint32 mask = 1U << bit;
                errors += (shifted.at(shift + word) & mask) != (fixed.at(word) & mask) ? 1 : 0;
            }
        }
        const double errorRate =
            static_cast<double>(errors) / static_cast<double>(overlap * kBitsPerWord);
        best = std::max(best, 1.0 - 2.0 * errorRate);
    }
    return static_cast<int>(best * 100.0);
}

} // namespace

int likenessPercent(const QList<quint32>& first, const QList<quint32>& second)
{
    return std::max(bestOfShifts(first, second), bestOfShifts(second, first));
}

} // namespace testmedia
