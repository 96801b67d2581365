// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Prints the bytes that the library keeps for each source of its list, and those of the same JSON
// value alone.
#include <malloc.h>

#include <iostream>
#include <utility>

#include "Lists.h"
#include "Signals.h"
#include "SourceAPI.h"

namespace {

constexpr int sources = 10000;

double heapBytes() {
    return static_cast<double>(mallinfo2().uordblks);
}

}  // namespace

int main() {
    // One arena, so that the figures hold what every thread has allocated.
    mallopt(M_ARENA_MAX, 1);
    CSourceAPI::Get();
    settleSubscriptions();
    const Emitter emitter;
    const auto receive = [&](int count) {
        emitter.emit(librarySignal, changeText(count, 0));
        deliver();
        // The answer shows that the bus's own thread has put the signal away.
        settleSubscriptions();
    };
    // GLib keeps a buffer of the size of the largest message.
    receive(sources);
    receive(1);
    const double before = heapBytes();
    receive(sources);
    const double library = heapBytes() - before;

    Json::Value value;
    const std::string text = changeText(sources, 0);
    const double beforeValue = heapBytes();
    {
        Json::Value root = parsed(text.c_str());
        value = std::move(root["return_data"]);
    }
    const double json = heapBytes() - beforeValue;
    std::cout << library / sources << ' ' << json / sources << '\n';
    return value.size() == sources ? 0 : 1;
}
