// How long two fingerprints of 1,900 words (about four minutes of audio) take to compare at all 80
// alignments, 40 in each direction, with every kernel of the similarity measure.
//
// The counter ratio_to_table is the time of the table kernel in the same run over that of the
// benchmark, both in processor time; the table is measured first. No kernel can be faster than
// plain_read, which reads both fingerprints once.

#include "compare/kernelchoice.h"
#include "compare/similarity.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <numeric>
#include <random>
#include <string>

namespace {

using Words = QList<unsigned int>;

constexpr qsizetype kWordCount = 1900;

Words randomWords(unsigned seed)
{
    std::mt19937 random(seed);
    Words words(kWordCount);
    std::generate(words.begin(), words.end(),
                  [&random] { return static_cast<unsigned int>(random()); });
    return words;
}

const Words& firstWords()
{
    static const Words words = randomWords(1);
    return words;
}

const Words& secondWords()
{
    static const Words words = randomWords(2);
    return words;
}

/** Of the table kernel, in seconds for all 80 alignments; 0 until it has been measured. */
double tableSeconds = 0.0;

/** Runs \a compareBothWays for \a state and returns the processor seconds that one run took. */
template <typename Function>
double measure(benchmark::State& state, const Function& compareBothWays)
{
    // Not the time that passed: another program would go into a ratio of two of those.
    const std::clock_t start = std::clock();
    for ([[maybe_unused]] auto iteration : state) {
        benchmark::DoNotOptimize(compareBothWays());
    }
    const auto elapsed = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    return elapsed / static_cast<double>(std::max<int64_t>(state.iterations(), 1));
}

void report(benchmark::State& state, double seconds)
{
    if (tableSeconds > 0.0) {
        state.counters["ratio_to_table"] = tableSeconds / seconds;
    }
}

void similarity(benchmark::State& state, const compare::SimilarityKernel* kernel)
{
    if (!kernel || !kernel->supported()) {
        state.SkipWithError("not measurable here: this processor lacks it");
        return;
    }
    compare::setSimilarityKernelForTests(kernel);
    const double seconds = measure(state, [] {
        return std::max(getSimilarity(firstWords(), secondWords()),
                        getSimilarity(secondWords(), firstWords()));
    });
    compare::setSimilarityKernelForTests(nullptr);
    if (kernel == &compare::kTableKernel) {
        tableSeconds = seconds;
    }
    report(state, seconds);
}

/** With the fastest kernel and a threshold that unrelated fingerprints do not reach. */
void boundedSimilarity(benchmark::State& state)
{
    const auto threshold = static_cast<int>(state.range(0));
    const double seconds = measure(state, [threshold] {
        return std::max(compare::getSimilarityAtLeast(firstWords(), secondWords(), threshold),
                        compare::getSimilarityAtLeast(secondWords(), firstWords(), threshold));
    });
    state.SetLabel(compare::similarityKernel().name);
    report(state, seconds);
}

void plainRead(benchmark::State& state)
{
    report(state, measure(state, [] {
               benchmark::ClobberMemory();
               return std::accumulate(firstWords().begin(), firstWords().end(), 0U) +
                      std::accumulate(secondWords().begin(), secondWords().end(), 0U);
           }));
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    for (const std::string name : {"table", "popcount", "popcnt", "avx2", "avx512"}) {
        benchmark::RegisterBenchmark(("similarity/" + name).c_str(), &similarity,
                                     compare::similarityKernelNamed(name));
    }
    benchmark::RegisterBenchmark("similarity_at_least", &boundedSimilarity)->Arg(70)->Arg(90);
    benchmark::RegisterBenchmark("plain_read", &plainRead);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
