// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Measures a function and its baseline alternately, so that other load on the machine affects both.
// Each figure is the ratio of two medians.
#ifndef BENCH_HARNESS_H
#define BENCH_HARNESS_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "Clock.h"

namespace bench {

using Work = std::function<void()>;

// The number of runs: a single one, whose figures are not judged, or enough for medians.
struct Plan {
    bool quick;
    int repetitions() const { return quick ? 1 : 5; }
    int iterations(int wanted) const { return quick ? 1 : wanted; }
};

// Register the benchmarks of a group.
void addCallBenchmarks(const Plan &plan);
void addOtherLibraryBenchmarks(const Plan &plan);
void addCacheBenchmarks(const Plan &plan);
void addProcessBenchmarks(const Plan &plan);

// Throws if `condition` is false, which means that the measured function does not work.
void require(bool condition, const char *what);

// Registers a benchmark. If its body throws, it is reported as an error and the program fails.
void add(const Plan &plan, const std::string &name, int iterations,
         std::function<void(benchmark::State &)> body);
bool hasErrors();

double medianOf(std::vector<double> samples);

using TimedWork = std::function<double()>;

// Runs both functions alternately in each iteration. Reports the medians of the seconds that they
// return, and the ratio of the medians with its limit `atMost`.
void compareTimes(benchmark::State &state, double atMost, const TimedWork &work,
                  const TimedWork &baseline);

// The same for the wall-clock time of work that waits for other processes.
void compare(benchmark::State &state, double atMost, const Work &work, const Work &baseline);

// The same for the CPU time of the calling thread, averaged over `batch` runs.
void compareCost(benchmark::State &state, double atMost, int batch, const Work &work,
                 const Work &baseline);

}  // namespace bench

#endif
