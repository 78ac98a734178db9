// Timing helpers for the benchmark programs.
#ifndef TERVIK_ROM_BENCH_BENCH_HPP
#define TERVIK_ROM_BENCH_BENCH_HPP

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <limits>

// Best wall time of a few runs, in seconds.
template <class Action>
double BestSeconds(Action&& action, int runs = 3) {
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        action();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        best = std::min(best, elapsed.count());
    }
    return best;
}

inline void Report(const char* what, double seconds, const char* reference, double referenceSeconds) {
    std::printf("%-44s %9.4f s   %-28s %9.4f s   ratio %5.2f\n", what, seconds, reference, referenceSeconds,
                seconds / referenceSeconds);
}

#endif
