// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Connecting a source: the library's request against the same two calls by hand.
#include <atomic>
#include <thread>
#include <vector>

#include "Benchmarks.h"
#include "ByHand.h"
#include "sourcelist-dotnet-api.h"

namespace {

constexpr int sourceType = 3;

void inThreads(int threads, int calls, const std::function<bool()> &call) {
    std::atomic<bool> done{true};
    std::vector<std::thread> running;
    running.reserve(static_cast<std::size_t>(threads));
    for (int number = 0; number < threads; ++number) {
        running.emplace_back([&] {
            for (int turn = 0; turn < calls; ++turn) {
                if (!call()) {
                    done = false;
                }
            }
        });
    }
    for (std::thread &thread : running) {
        thread.join();
    }
    require(done, "a source was not connected");
}

void oneByOne(benchmark::State &state) {
    const ByHand hand;
    compare(
        state, 1.05, [] { require(connect_source(sourceType), "connect_source"); },
        [&] { require(hand.connectSource(sourceType), "connecting by hand"); });
}

// The ratio is of the time for the same number of calls, so 0.95 of the throughput is 1 / 0.95.
void sideBySide(benchmark::State &state, int threads, int calls) {
    const ByHand hand;
    compare(
        state, 1 / 0.95,
        [&] { inThreads(threads, calls, [] { return connect_source(sourceType); }); },
        [&] { inThreads(threads, calls, [&] { return hand.connectSource(sourceType); }); });
    state.counters["throughput"] =
        state.counters["baseline_ns"].value / state.counters["work_ns"].value;
}

}  // namespace

void addConnectBenchmarks(const Plan &plan) {
    add(plan, "connect_source", 2000, oneByOne);
    for (const int threads : {1, 2, 4, 8}) {
        const int calls = plan.quick ? 1 : 160 / threads;
        add(plan, "connect_source/threads:" + std::to_string(threads), 41,
            [=](benchmark::State &state) { sideBySide(state, threads, calls); });
    }
}
