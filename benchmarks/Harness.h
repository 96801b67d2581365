// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Measures a piece of work and its baseline in turns, so that what else the machine does slows
// both alike. Every figure is the ratio of two medians.
#ifndef BENCH_HARNESS_H
#define BENCH_HARNESS_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "Clock.h"

using Work = std::function<void()>;

// How much is done: everything once and without judging, or enough for medians.
struct Plan {
    bool quick;
    int repetitions() const { return quick ? 1 : 5; }
    int iterations(int wanted) const { return quick ? 1 : wanted; }
};

// Throws when `right` is false: what is measured does not work.
void require(bool right, const char *what);

// Registers a benchmark. When its body throws, it is reported as broken and the program fails.
void add(const Plan &plan, const std::string &name, int iterations,
         std::function<void(benchmark::State &)> body);
bool isAnythingBroken();

double medianOf(std::vector<double> samples);

using TimedWork = std::function<double()>;

// Runs both in turns, as often as the benchmark iterates, and reports the medians of the seconds
// that they return, and the ratio of these beside `atMost`.
void compareTimes(benchmark::State &state, double atMost, const TimedWork &work,
                  const TimedWork &baseline);

// The same for work that waits for others: the time that passes.
void compare(benchmark::State &state, double atMost, const Work &work, const Work &baseline);

// The same for work that waits for nobody: the processor's time, each time for `batch` runs.
void compareCost(benchmark::State &state, double atMost, int batch, const Work &work,
                 const Work &baseline);

#endif
