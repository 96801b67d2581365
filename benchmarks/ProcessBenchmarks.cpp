// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Figures of a separate process: the time to the first reply, instructions, copies and memory.
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "BenchmarkBus.h"
#include "Harness.h"

namespace bench {

namespace {

void firstAnswer(benchmark::State &state) {
    const auto secondsIn = [](const char *how) {
        return std::stod(output({PROGRAMS "/first-answer", how}));
    };
    compareTimes(
        state, 1.1, [&] { return secondsIn("library"); }, [&] { return secondsIn("hand"); });
}

void setFigures(benchmark::State &state, double work, double baseline, double atMost) {
    state.counters["work"] = work;
    state.counters["baseline"] = baseline;
    state.counters["ratio"] = work / baseline;
    state.counters["at_most"] = atMost;
}

void report(benchmark::State &state, double work, double baseline, double atMost) {
    while (state.KeepRunning()) {
        state.SetIterationTime(0);
    }
    setFigures(state, work, baseline, atMost);
}

void instructions(benchmark::State &state) {
    std::istringstream counted(output({COUNT_INSTRUCTIONS, PROGRAMS "/count-instructions"}));
    double library = 0;
    double hand = 0;
    counted >> library >> hand;
    report(state, library, hand, 1.15);
}

void memoryOfSource(benchmark::State &state) {
    std::istringstream counted(output({PROGRAMS "/held-memory"}));
    double library = 0;
    double json = 0;
    counted >> library >> json;
    report(state, library, json, 1.1);
}

// The median of many processes, as the resident part of a library depends on its load address.
void residentSize(benchmark::State &state) {
    std::vector<double> library;
    std::vector<double> plain;
    while (state.KeepRunning()) {
        library.push_back(std::stod(output({PROGRAMS "/resident-library"})));
        plain.push_back(std::stod(output({PROGRAMS "/resident-plain"})));
        state.SetIterationTime(0);
    }
    const double plainMedian = medianOf(std::move(plain));
    setFigures(state, medianOf(std::move(library)), plainMedian, (plainMedian + 256) / plainMedian);
}

void copies(benchmark::State &state, const std::string &path, double allowed) {
    while (state.KeepRunning()) {
        state.SetIterationTime(0);
    }
    state.counters["copies"] = std::stod(output({PROGRAMS "/count-copies", path}));
    state.counters["allowed"] = allowed;
}

}  // namespace

void addProcessBenchmarks(const Plan &plan) {
    add(plan, "first_answer", 25, firstAnswer);
    const Plan once{true};
    add(once, "connect_source/instructions", 1, instructions);
    add(once, "memory/bytes_for_a_source", 1, memoryOfSource);
    add(plan, "memory/resident_KiB_after_load", 25, residentSize);
    for (const auto &[path, allowed] :
         {std::pair("text", 0), {"records", 1}, {"compared-signal", 1}, {"first-signal", 0}}) {
        add(once, std::string("copies/") + path, 1,
            [path = std::string(path), allowed = allowed](benchmark::State &state) {
                copies(state, path, allowed);
            });
    }
}

}  // namespace bench
