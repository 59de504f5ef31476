#pragma once

#include "compare/similaritykernel.h"

#include <span>
#include <string_view>

namespace compare {

/** The kernels of this build, slowest first, including those that this processor lacks. */
std::span<const SimilarityKernel* const> allSimilarityKernels();

/** Returns the kernel called \a name; null if this build has none. Thread: Any thread. */
const SimilarityKernel* similarityKernelNamed(std::string_view name);

/**
 * Returns the fastest kernel that this processor runs. Thread: Any thread.
 */
const SimilarityKernel& similarityKernel();

/**
 * For tests: makes similarityKernel() return \a kernel; null restores the usual choice.
 * Requires: a supported kernel, and no comparison under way.
 */
void setSimilarityKernelForTests(const SimilarityKernel* kernel);

} // namespace compare
