// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Prints the heap bytes for each source in the library's list, and those of the same JSON value
// alone.
#include <malloc.h>

#include <iostream>
#include <utility>

#include "ByHand.h"
#include "ServiceData.h"
#include "SourceAPI.h"

namespace {

constexpr int sources = 10000;

double heapBytes() {
    return static_cast<double>(mallinfo2().uordblks);
}

}  // namespace

int main() {
    // A single arena, so that the figures include the allocations of every thread.
    mallopt(M_ARENA_MAX, 1);
    CSourceAPI::Get();
    bench::settleSubscriptions();
    const bench::Emitter emitter;
    const auto receive = [&](int count) {
        emitter.emit(bench::librarySignal, bench::changeText(count, 0));
        bench::deliver();
        // After this round trip GDBus's thread has released the signal.
        bench::settleSubscriptions();
    };
    // GLib keeps a buffer as large as the largest message.
    receive(sources);
    receive(1);
    const double before = heapBytes();
    receive(sources);
    const double library = heapBytes() - before;

    Json::Value value;
    const std::string text = bench::changeText(sources, 0);
    const double beforeValue = heapBytes();
    {
        Json::Value root = bench::parsed(text.c_str());
        value = std::move(root["return_data"]);
    }
    const double json = heapBytes() - beforeValue;
    std::cout << library / sources << ' ' << json / sources << '\n';
    return value.size() == sources ? 0 : 1;
}
