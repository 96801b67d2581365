// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_TRACE_H
#define EMULATED_TV_TRACE_H

#include <json/json.h>

#include <cstdint>
#include <optional>
#include <string>

namespace emulated_tv {

struct TracePlan {
    bool asJson = false;
    // How many messages; without it until the bus goes.
    std::optional<std::uint32_t> count;
};

// Prints what is said between the source service on a bus and its clients, a line for a message.
// "tracing" on standard error says that nothing is missed from then on. The result is the exit
// code; std::runtime_error says that the bus cannot be watched, or went before the count was full.
int trace(const std::string &busAddress, const TracePlan &plan);

// A message, as Conversation has it, on a line for people.
std::string traceLine(const Json::Value &traced);

}  // namespace emulated_tv

#endif
