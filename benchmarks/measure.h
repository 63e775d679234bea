#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>

#include "allocation_counter.h"
#include "instruction_count.h"

/// Measures `work`, whose result counts as used. The counter "allocs" tells its allocations per
/// iteration; one more iteration, warm by then, is for callgrind to count.
template <typename Work>
void measure(benchmark::State& state, const Work& work) {
    const std::size_t before = allocationCount();
    for (auto _ : state) benchmark::DoNotOptimize(work());
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(allocationCount() - before),
                                                  benchmark::Counter::kAvgIterations);
    countInstructions([&] { benchmark::DoNotOptimize(work()); });
}
