#pragma once

namespace compare {

/** Recordings of the same piece that differ by more than this are taken as different. */
inline constexpr int kLargestDurationDifferenceMs = 5000;

/**
 * Whether two lengths in milliseconds are close enough for two files to be compared: at most
 * kLargestDurationDifferenceMs apart. The difference is taken in 32 bits and wraps around.
 * Thread: Any thread.
 */
bool durationsComparable(int firstMs, int secondMs);

} // namespace compare
