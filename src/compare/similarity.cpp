#include "compare/similarity.h"

#include "compare/kernelchoice.h"

#include <algorithm>
#include <array>
#include <cstdint>

// clang-format off
// NOLINTNEXTLINE(modernize-avoid-c-arrays): as declared
const int popcnt_table_8bit[256] = {
    0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4, 1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    1, 2, 2, 3, 2, 3, 3, 4, 2, 3, 3, 4, 3, 4, 4, 5, 2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    2, 3, 3, 4, 3, 4, 4, 5, 3, 4, 4, 5, 4, 5, 5, 6, 3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7,
    3, 4, 4, 5, 4, 5, 5, 6, 4, 5, 5, 6, 5, 6, 6, 7, 4, 5, 5, 6, 5, 6, 6, 7, 5, 6, 6, 7, 6, 7, 7, 8,
};
// clang-format on

int popcnt(int value)
{
    const auto word = static_cast<std::uint32_t>(value);
    return popcnt_table_8bit[word & 0xFF] + popcnt_table_8bit[(word >> 8) & 0xFF] +
           popcnt_table_8bit[(word >> 16) & 0xFF] + popcnt_table_8bit[word >> 24];
}

namespace compare {

namespace {

/** What unrelated recordings have: half of the bits. */
constexpr std::size_t kUnrelatedErrorsPerWord = kBitsPerWord / 2;
/** Runs of words are made of as many as a kernel takes at a time ... */
constexpr std::size_t kStepWords = 32;
/** ... and end where a cache line of the second fingerprint does, since kernels like that best. */
constexpr std::size_t kCacheLineBytes = 64;

/** The number of words before \a words reaches the next cache line. */
std::size_t wordsToCacheLine(const std::uint32_t* words)
{
    const std::size_t bytesBeyond = reinterpret_cast<std::uintptr_t>(words) % kCacheLineBytes;
    return (kCacheLineBytes - bytesBeyond) % kCacheLineBytes / sizeof(std::uint32_t);
}

/** How many words from \a second on to count until unrelated ones have made \a errors errors. */
std::size_t runLength(const std::uint32_t* second, std::size_t errors)
{
    // A sixteenth more, so that the luckiest of the alignments is ruled out as well.
    const std::size_t words = errors / kUnrelatedErrorsPerWord;
    const std::size_t needed = words + words / 16 + 1;
    return wordsToCacheLine(second) + (needed + kStepWords - 1) / kStepWords * kStepWords;
}

/** The larger of the values of all offsets, from the \a errors at each of them. */
int bestPercentage(const std::uint32_t* errors, std::size_t firstCount, std::size_t secondCount)
{
    int best = 0;
    for (std::size_t offset = 0; offset < std::min(firstCount, kOffsetCount); ++offset) {
        const auto count = static_cast<int>(std::min(firstCount - offset, secondCount));
        // More than 67 million wholly different words leave the range of int: the sum wraps around.
        best = std::max(best, similarityPercentage(static_cast<int>(errors[offset]), count));
    }
    return best;
}

} // namespace

int similarityPercentage(int errors, int wordCount)
{
    constexpr double kBits = 32.0;
    // The order of these operations decides the last bit, and with it the truncated percentage.
    const double ratio =
        (2.0 * static_cast<double>(errors)) / (static_cast<double>(wordCount) * kBits);
    const double score = 1.0 - ratio;
    // 0/0 for no words is not a number and fails the comparison as well.
    return score > 0.0 ? static_cast<int>(score * 100.0) : 0;
}

int largestErrorCount(int wordCount, int threshold)
{
    // Solving the measure for the errors is off by rounding, but a good first guess.
    const double bits = static_cast<double>(wordCount) * static_cast<double>(kBitsPerWord);
    auto errors = static_cast<int>(bits * (kLargestSimilarity - threshold) / 200.0);
    while (errors > 0 && similarityPercentage(errors, wordCount) < threshold) {
        --errors;
    }
    while (similarityPercentage(errors + 1, wordCount) >= threshold) {
        ++errors;
    }
    return errors;
}

int getSimilarityAtLeast(const QList<unsigned int>& first, const QList<unsigned int>& second,
                         int threshold)
{
    const auto firstCount = static_cast<std::size_t>(first.size());
    const auto secondCount = static_cast<std::size_t>(second.size());
    const std::size_t longest = std::min(firstCount, secondCount);
    if (longest == 0 || threshold > kLargestSimilarity) {
        return 0;
    }
    // Sums that wrap around may fall again and rule nothing out.
    if (threshold <= 0 || longest > static_cast<std::size_t>(kMostBoundedWords)) {
        return getSimilarity(first, second);
    }

    // Fewer words allow fewer errors, so what offset 0 allows with the most words holds for all.
    const auto allowed =
        static_cast<std::uint32_t>(largestErrorCount(static_cast<int>(longest), threshold));
    const SimilarityKernel& kernel = similarityKernel();
    std::array<std::uint32_t, kOffsetCount> errors{};
    std::uint32_t fewest = 0;
    for (std::size_t done = 0; done < longest;) {
        const std::uint32_t* secondWords = second.constData() + done;
        const std::size_t run = std::min(runLength(secondWords, allowed - fewest), longest - done);
        kernel.addErrors(first.constData() + done,
                         std::min(firstCount - done, run + kOffsetCount - 1), secondWords, run,
                         errors.data());
        done += run;
        fewest =
            *std::min_element(errors.data(), errors.data() + std::min(firstCount, kOffsetCount));
        if (fewest > allowed) {
            return 0;
        }
    }
    return bestPercentage(errors.data(), firstCount, secondCount);
}

} // namespace compare

int getSimilarity(const QList<unsigned int>& first, const QList<unsigned int>& second)
{
    const auto firstCount = static_cast<std::size_t>(first.size());
    const auto secondCount = static_cast<std::size_t>(second.size());
    std::array<std::uint32_t, compare::kOffsetCount> errors{};
    compare::similarityKernel().addErrors(first.constData(), firstCount, second.constData(),
                                          secondCount, errors.data());
    return compare::bestPercentage(errors.data(), firstCount, secondCount);
}
