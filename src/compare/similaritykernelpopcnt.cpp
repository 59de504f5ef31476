// Compiled with -mpopcnt. No header here may bring inline functions: see similaritykernel.h.
#include "compare/errorsoutside.h"
#include "compare/similaritykernel.h"

namespace compare {

namespace {

constexpr std::size_t kWordsAtOnce = 2;

bool supported()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("popcnt") != 0;
}

/** Two words, wherever they begin. */
unsigned long long load(const std::uint32_t* words)
{
    unsigned long long both = 0;
    __builtin_memcpy(&both, words, sizeof both);
    return both;
}

/** The number of differing bits of \a count word pairs, modulo 2^32. */
std::uint32_t bitErrors(const std::uint32_t* first, const std::uint32_t* second, std::size_t count)
{
    unsigned long long errors = 0;
    std::size_t k = 0;
    for (; k + kWordsAtOnce <= count; k += kWordsAtOnce) {
        errors += static_cast<unsigned>(__builtin_popcountll(load(first + k) ^ load(second + k)));
    }
    if (k < count) {
        errors += static_cast<unsigned>(__builtin_popcount(first[k] ^ second[k]));
    }
    return static_cast<std::uint32_t>(errors);
}

void addErrors(const std::uint32_t* first, std::size_t firstCount, const std::uint32_t* second,
               std::size_t secondCount, std::uint32_t* errors)
{
    for (std::size_t offset = 0; offset < kOffsetCount && offset < firstCount; ++offset) {
        const std::size_t rest = firstCount - offset;
        errors[offset] +=
            bitErrors(first + offset, second, rest < secondCount ? rest : secondCount);
    }
}

} // namespace

const SimilarityKernel kPopcntKernel = {"popcnt", &supported, &addErrors, &errorsOutsidePortable};

} // namespace compare
