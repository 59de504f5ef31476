#include "compare/durationorder.h"

#include "compare/durationgate.h"

#include <algorithm>
#include <limits>

namespace compare {

namespace {

quint32 circular(const FingerprintRecord& record)
{
    return static_cast<quint32>(std::get<2>(record));
}

} // namespace

DurationOrder::DurationOrder(const QList<FingerprintRecord>& records)
{
    for (int i = 0; i < records.size(); ++i) {
        if (!std::get<1>(records.at(i)).isEmpty()) {
            m_positions.push_back(i);
        }
    }
    std::stable_sort(m_positions.begin(), m_positions.end(), [&records](int left, int right) {
        return circular(records.at(left)) < circular(records.at(right));
    });
    m_durations.reserve(m_positions.size());
    for (const int position : m_positions) {
        m_durations.push_back(circular(records.at(position)));
    }
}

std::array<DurationOrder::Positions, 3> DurationOrder::comparableTo(int durationMs) const
{
    constexpr quint32 kReach = kLargestDurationDifferenceMs;
    constexpr quint32 kHalfCircle = 0x80000000U;
    const auto duration = static_cast<quint32>(durationMs);
    const quint32 first = duration - kReach;
    const quint32 last = duration + kReach;
    const Positions opposite = between(duration + kHalfCircle, duration + kHalfCircle);
    if (first <= last) {
        return {between(first, last), Positions(), opposite};
    }
    return {between(first, std::numeric_limits<quint32>::max()), between(0, last), opposite};
}

DurationOrder::Positions DurationOrder::between(quint32 first, quint32 last) const
{
    const auto begin = std::lower_bound(m_durations.begin(), m_durations.end(), first);
    const auto end = std::upper_bound(begin, m_durations.end(), last);
    return Positions(m_positions)
        .subspan(static_cast<std::size_t>(begin - m_durations.begin()),
                 static_cast<std::size_t>(end - begin));
}

} // namespace compare
