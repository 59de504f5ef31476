#include "parts/partselection.h"

#include "parts/partextent.h"

#include <algorithm>
#include <tuple>

namespace parts {

namespace {

/** The words from begin to before end. */
struct Interval
{
    int begin;
    int end;
};

/** What is left of \a intervals without \a taken. */
std::vector<Interval> without(const std::vector<Interval>& intervals, Interval taken)
{
    std::vector<Interval> left;
    for (const Interval& interval : intervals) {
        if (taken.end <= interval.begin || taken.begin >= interval.end) {
            left.push_back(interval);
            continue;
        }
        if (interval.begin < taken.begin) {
            left.push_back({interval.begin, taken.begin});
        }
        if (taken.end < interval.end) {
            left.push_back({taken.end, interval.end});
        }
    }
    return left;
}

/** The parts of \a stretch, counted from its begin, that do not overlap \a parts in either file. */
std::vector<Interval> freePieces(const Stretch& stretch, const std::vector<Stretch>& parts)
{
    std::vector<Interval> pieces = {{0, stretch.wordCount}};
    for (const Stretch& part : parts) {
        for (const int begin :
             {part.firstBegin - stretch.firstBegin, part.secondBegin - stretch.secondBegin}) {
            pieces = without(
                pieces, {begin - kWordsBetweenParts, begin + part.wordCount + kWordsBetweenParts});
        }
    }
    return pieces;
}

} // namespace

std::vector<Stretch> selectParts(std::vector<Stretch> stretches, Words first, Words second,
                                 const PartRequirements& required)
{
    std::sort(stretches.begin(), stretches.end(), [](const Stretch& left, const Stretch& right) {
        return std::tuple(-left.score(), left.firstBegin, left.secondBegin) <
               std::tuple(-right.score(), right.firstBegin, right.secondBegin);
    });
    std::vector<Stretch> parts;
    for (const Stretch& stretch : stretches) {
        for (const Interval& piece : freePieces(stretch, parts)) {
            const int count = piece.end - piece.begin;
            if (count < required.leastWords) {
                continue;
            }
            const Stretch part = pieceOf(stretch, piece.begin, count, first, second);
            if (part.similarity() >= required.leastSimilarity) {
                parts.push_back(part);
            }
        }
    }
    std::sort(parts.begin(), parts.end(), [](const Stretch& left, const Stretch& right) {
        return left.firstBegin < right.firstBegin;
    });
    return parts;
}

} // namespace parts
