#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>

namespace kelvaris::benchmarks {

/// Seconds that the steps take.
template <class Steps>
double secondsOf(Steps&& steps) {
    const auto start = std::chrono::steady_clock::now();
    steps();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Seconds of processor time of all threads: a measure that other programs on the machine disturb less.
template <class Steps>
double processorSecondsOf(Steps&& steps) {
    const std::clock_t start = std::clock();
    steps();
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// Times the work beside its floor, turn by turn, so that both meet the same machine: the time that is
/// shown is the work's, and the counter "ratio" is work / floor.
template <class Work, class Floor>
void compare(benchmark::State& state, Work&& work, Floor&& floor) {
    work();
    floor();
    double worked = 0;
    double floored = 0;
    for (auto _ : state) {
        const double seconds = secondsOf(work);
        worked += seconds;
        floored += secondsOf(floor);
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = worked / floored;
    state.counters["floor_ms"] = 1000 * floored / static_cast<double>(state.iterations());
}

}  // namespace kelvaris::benchmarks
