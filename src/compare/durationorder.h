#pragma once

#include "fingerprint/fingerprintrecord.h"

#include <QList>
#include <QtGlobal>

#include <array>
#include <span>
#include <vector>

namespace compare {

/**
 * Records in the order of their durations, to visit those whose durations are comparable to a given
 * one (durationsComparable()) and no other.
 *
 * Durations differ by their distance on a circle of 2^32 milliseconds, since the difference wraps
 * around. So what is comparable is a run of that circle, which may cross its end, and the point
 * opposite, which the wrapping lets pass as well.
 *
 * Thread: Any thread.
 */
class DurationOrder
{
public:
    /** Positions in a record list. */
    using Positions = std::span<const int>;

    /** Takes in the records that have a fingerprint; the others match nothing. */
    explicit DurationOrder(const QList<FingerprintRecord>& records);

    /** The positions of all records taken in, by ascending duration. */
    Positions positions() const
    {
        return m_positions;
    }

    /** The positions of those comparable to \a durationMs, each once, in three runs or fewer. */
    std::array<Positions, 3> comparableTo(int durationMs) const;

private:
    /** Those whose durations, taken as unsigned, are \a first to \a last. */
    Positions between(quint32 first, quint32 last) const;

    std::vector<quint32> m_durations;
    std::vector<int> m_positions;
};

} // namespace compare
