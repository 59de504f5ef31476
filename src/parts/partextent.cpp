#include "parts/partextent.h"

#include <algorithm>
#include <cmath>

namespace parts {

double secondsOfWords(qsizetype count)
{
    return count > 0 ? static_cast<double>(count - 1) * kSecondsPerWord + kSecondsOfWord : 0.0;
}

PartExtent extentOf(const Stretch& part, int firstWords, int secondWords)
{
    const bool atBegin = part.firstBegin == 0 || part.secondBegin == 0;
    const bool atEnd = part.firstBegin + part.wordCount == firstWords ||
                       part.secondBegin + part.wordCount == secondWords;
    const double before = atBegin ? 0.0 : kSecondsBeforePart;
    const double after = atEnd ? 0.0 : kSecondsBehindPart;
    const double seconds = secondsOfWords(part.wordCount);
    return {part.firstBegin * kSecondsPerWord + before, part.secondBegin * kSecondsPerWord + before,
            std::max(seconds - before - after, 0.0)};
}

int wordsOfLength(double seconds)
{
    const double certain = seconds - kUncertainSeconds - kSecondsOfWord;
    return std::max(1, static_cast<int>(std::floor(certain / kSecondsPerWord)) + 1);
}

bool isLongEnough(const PartExtent& extent, double seconds)
{
    // As wordsOfLength() rounds down to whole words.
    return extent.seconds > seconds - kUncertainSeconds - kSecondsPerWord;
}

} // namespace parts
