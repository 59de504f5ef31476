#pragma once

namespace compare {

/**
 * The similarity of \a wordCount overlapping words of which \a errors bits differ: the whole part
 * of 100 * (1 - 2 * BER), not below 0, where BER is the bit error rate. No words give 0. Never
 * rises with \a errors, never falls with \a wordCount.
 */
inline int similarityPercentage(int errors, int wordCount)
{
    constexpr double kBits = 32.0;
    // The order of these operations decides the last bit, and with it the truncated percentage.
    const double ratio =
        (2.0 * static_cast<double>(errors)) / (static_cast<double>(wordCount) * kBits);
    const double score = 1.0 - ratio;
    // 0/0 for no words is not a number and fails the comparison as well.
    return score > 0.0 ? static_cast<int>(score * 100.0) : 0;
}

} // namespace compare
