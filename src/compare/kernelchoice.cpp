#include "compare/kernelchoice.h"

#include <array>
#include <atomic>

namespace compare {

namespace {

/**
 * The slowest first. Without a vector instruction to count bits the compiler's popcount is slower
 * than the table, so it comes before it everywhere but on Arm.
 */
constexpr std::array kKernels = {
#ifdef __aarch64__
    &kTableKernel,  &kPopcountKernel,
#else
    &kPopcountKernel,
    &kTableKernel,
#endif
#ifdef QUORVEL_X86_KERNELS
    &kPopcntKernel, &kAvx2Kernel,     &kAvx512Kernel,
#endif
};

std::atomic<const SimilarityKernel*> chosenKernel = nullptr;

const SimilarityKernel* fastestSupportedKernel()
{
    const SimilarityKernel* fastest = &kTableKernel;
    for (const SimilarityKernel* kernel : kKernels) {
        if (kernel->supported()) {
            fastest = kernel;
        }
    }
    return fastest;
}

} // namespace

std::span<const SimilarityKernel* const> allSimilarityKernels()
{
    return kKernels;
}

const SimilarityKernel* similarityKernelNamed(std::string_view name)
{
    for (const SimilarityKernel* kernel : kKernels) {
        if (kernel->name == name) {
            return kernel;
        }
    }
    return nullptr;
}

const SimilarityKernel& similarityKernel()
{
    const SimilarityKernel* kernel = chosenKernel.load(std::memory_order_relaxed);
    if (!kernel) {
        // Threads that meet here choose alike.
        kernel = fastestSupportedKernel();
        chosenKernel.store(kernel, std::memory_order_relaxed);
    }
    return *kernel;
}

void setSimilarityKernelForTests(const SimilarityKernel* kernel)
{
    chosenKernel.store(kernel, std::memory_order_relaxed);
}

} // namespace compare
