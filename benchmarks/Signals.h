// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Change signals over the real bus, delivered one by one when a benchmark asks for it.
#ifndef BENCH_SIGNALS_H
#define BENCH_SIGNALS_H

#include <string>

#include "ByHand.h"

// The member names of the library's signal, and of one for the baseline alone.
constexpr const char *librarySignal = "source_api";
constexpr const char *handSignal = "by_hand";

// A participant that emits signals.
class Emitter {
 public:
    Emitter();
    // Returns when the signal waits in the main context for its handler.
    void emit(const char *member, const std::string &text) const;

 private:
    Connection m_connection;
};

// Runs the handler of the signal that waits in the main context.
void deliver();

// Returns when the bus knows what this process has subscribed to.
void settleSubscriptions();

#endif
