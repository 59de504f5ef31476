#pragma once

#include "actions/searchresult.h"

#include <QString>

namespace actions {

constexpr int kDefaultMinSimilarity = 90;
/** Unrelated files of 4 to 10 seconds reach 80 to 87 percent by chance. */
constexpr int kShortSeconds = 30;

/** Which duplicates are left alone. */
struct ApplyRules
{
    /** In percent. */
    int minSimilarity = kDefaultMinSimilarity;
    /** Whether files of less than kShortSeconds, or of unknown length, are moved as well. */
    bool evenShort = false;
    /** Whether files with nothing to hear in them are moved as well. */
    bool evenFeatureless = false;
    /** Whether duplicates of a reference that could not be read whole are moved as well. */
    bool evenPartial = false;
};

/**
 * Why \a rules leave \a duplicate alone, which resembles \a reference by \a similarity percent;
 * empty if they do not. Thread: Any thread.
 */
QString reasonToLeave(const ApplyRules& rules, const ResultFile& duplicate,
                      const ResultFile& reference, int similarity);

} // namespace actions
