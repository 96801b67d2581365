// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Harness.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace bench {

namespace {

bool failed = false;

}  // namespace

void require(bool condition, const char *what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

void add(const Plan &plan, const std::string &name, int iterations,
         std::function<void(benchmark::State &)> body) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [body = std::move(body)](benchmark::State &state) {
                                     try {
                                         body(state);
                                     } catch (const std::exception &exception) {
                                         failed = true;
                                         state.SkipWithError(exception.what());
                                     }
                                 })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond)
        ->Iterations(plan.iterations(iterations))
        ->Repetitions(plan.repetitions());
}

bool hasErrors() {
    return failed;
}

double medianOf(std::vector<double> samples) {
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

void compareTimes(benchmark::State &state, double atMost, const TimedWork &work,
                  const TimedWork &baseline) {
    // The first run fills caches and opens connections.
    work();
    baseline();
    std::vector<double> works;
    std::vector<double> baselines;
    bool isWorkFirst = false;
    while (state.KeepRunning()) {
        isWorkFirst = !isWorkFirst;
        if (isWorkFirst) {
            works.push_back(work());
        }
        baselines.push_back(baseline());
        if (!isWorkFirst) {
            works.push_back(work());
        }
        state.SetIterationTime(works.back());
    }
    const double workMedian = medianOf(std::move(works));
    const double baselineMedian = medianOf(std::move(baselines));
    state.counters["work_ns"] = workMedian * 1e9;
    state.counters["baseline_ns"] = baselineMedian * 1e9;
    state.counters["ratio"] = workMedian / baselineMedian;
    state.counters["at_most"] = atMost;
}

void compare(benchmark::State &state, double atMost, const Work &work, const Work &baseline) {
    compareTimes(
        state, atMost, [&] { return secondsOf(work); }, [&] { return secondsOf(baseline); });
}

void compareCost(benchmark::State &state, double atMost, int batch, const Work &work,
                 const Work &baseline) {
    const auto cost = [batch](const Work &what) {
        return processorSecondsOf([&] {
                   for (int turn = 0; turn < batch; ++turn) {
                       what();
                   }
               }) /
               batch;
    };
    compareTimes(
        state, atMost, [&] { return cost(work); }, [&] { return cost(baseline); });
}

}  // namespace bench
