#include "parts/partrelation.h"

#include <algorithm>

namespace parts {

namespace {

constexpr double kShareOfWhole = 0.95;
constexpr double kShareOfRecording = 0.5;

} // namespace

double PartOfFile::share() const
{
    return fileSeconds > 0.0 ? std::clamp(partSeconds / fileSeconds, 0.0, 1.0) : 0.0;
}

double PartOfFile::before() const
{
    return std::max(beginSeconds, 0.0);
}

double PartOfFile::behind() const
{
    return std::max(fileSeconds - beginSeconds - partSeconds, 0.0);
}

PartRelation relationOf(const PartOfFile& first, const PartOfFile& second)
{
    if (std::min(first.share(), second.share()) >= kShareOfRecording) {
        return PartRelation::SameRecording;
    }
    if (std::max(first.share(), second.share()) < kShareOfWhole) {
        return PartRelation::Partial;
    }
    return first.share() > second.share() ? PartRelation::FirstInSecond
                                          : PartRelation::SecondInFirst;
}

} // namespace parts
