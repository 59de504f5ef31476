#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <optional>

namespace search {

/**
 * The lengths of the files that a search compares.
 *
 * A large collection can be compared range by range in less memory: if each range begins five
 * seconds before the end of the one below it, no pair is lost, as no two files are compared whose
 * lengths differ by more (compare::durationsComparable()).
 */
struct DurationRange
{
    enum Fit {
        Inside,
        TooShort,
        TooLong,
    };

    /** In seconds; no value: any. A file of exactly this length is inside. */
    std::optional<int> least;
    std::optional<int> most;

    /**
     * Returns where the length of \a record is. One without a known length is inside of every range:
     * it may be compared with files of any. So is one without a fingerprint, which has failed.
     * Thread: Any thread.
     */
    Fit fitOf(const FingerprintRecord& record) const;
};

} // namespace search
