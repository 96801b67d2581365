// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Stubs of the four platform functions. They keep no history, as a fuzzer may run for hours. Log
// lines are formatted and discarded.
#ifndef FUZZ_STUB_PLATFORM_H
#define FUZZ_STUB_PLATFORM_H

#include <optional>
#include <string>

class CSourceAPI;

namespace fuzz {

// The names document in the settings store; no value makes the key unreadable.
extern std::optional<std::string> storedNames;

// The client, in a process without a bus.
CSourceAPI *clientWithoutBus();

}  // namespace fuzz

#endif
