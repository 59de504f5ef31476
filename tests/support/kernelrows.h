#pragma once

#include "compare/kernelchoice.h"

#include <QTest>

/** For tests that run once for each kernel of the similarity measure. */
namespace support {

/** Adds a row for each kernel of this build, named after it. */
inline void addKernelRows()
{
    QTest::addColumn<bool>("supported");
    for (const compare::SimilarityKernel* kernel : compare::allSimilarityKernels()) {
        QTest::newRow(kernel->name) << kernel->supported();
    }
}

/** Returns the kernel that the current row is named after. */
inline const compare::SimilarityKernel& kernelOfRow()
{
    const auto* kernel = compare::similarityKernelNamed(QTest::currentDataTag());
    if (kernel == nullptr) {
        qFatal("No kernel has the name of the row.");
    }
    return *kernel;
}

} // namespace support
