#pragma once

#include "parts/stretches.h"

#include <vector>

namespace parts {

/** What a stretch needs to be a part. */
struct PartRequirements
{
    int leastWords = 1;
    /** In percent. */
    int leastSimilarity = 0;
};

/**
 * The best of \a stretches, which may overlap, as parts that do not: each second of either
 * fingerprint is in one part at most, so that music that repeats itself is not listed once for each
 * repetition. The stretch with the highest score goes first; of a later one the pieces are left
 * that no earlier one has, where they are still parts. Sorted by their places in \a first.
 *
 * Errors: throws std::bad_alloc. Thread: Any thread.
 */
std::vector<Stretch> selectParts(std::vector<Stretch> stretches, Words first, Words second,
                                 const PartRequirements& required);

} // namespace parts
