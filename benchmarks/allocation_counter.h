#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>

/// Number of times that the program and its libraries have asked for memory so far. Exact as long
/// as no two threads ask at once.
std::size_t allocationCount();

/// Adds the counter "allocs", allocations per iteration, to what `state` reports. It is made after
/// the set-up and destroyed after the loop.
class AllocationsPerIteration {
public:
    explicit AllocationsPerIteration(benchmark::State& state)
        : state_(state), before_(allocationCount()) {}
    AllocationsPerIteration(const AllocationsPerIteration&) = delete;
    AllocationsPerIteration& operator=(const AllocationsPerIteration&) = delete;
    ~AllocationsPerIteration() {
        state_.counters["allocs"] = benchmark::Counter(
            static_cast<double>(allocationCount() - before_), benchmark::Counter::kAvgIterations);
    }

private:
    benchmark::State& state_;
    std::size_t before_;
};

/// Measures `work` with its allocations; its result counts as used.
template <typename Work>
void measure(benchmark::State& state, Work work) {
    const AllocationsPerIteration count(state);
    for (auto _ : state) benchmark::DoNotOptimize(work());
}
