#pragma once

#include "compare/similaritykernel.h"

#include <span>

namespace compare {

/** The kernels of this build, the slowest first, whether this processor runs them or not. */
std::span<const SimilarityKernel* const> allSimilarityKernels();

/**
 * The fastest kernel that this processor runs, chosen at the first call.
 * Thread: any thread. Reentrant.
 */
const SimilarityKernel& similarityKernel();

/**
 * For tests: makes similarityKernel() answer \a kernel; a null pointer restores the real answer.
 * Requires: a supported kernel, and no comparison under way.
 */
void setSimilarityKernelForTests(const SimilarityKernel* kernel);

} // namespace compare
