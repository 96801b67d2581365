// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The platform's four functions as a fuzzer sees them. They remember nothing, so that a process
// can take inputs for hours. Log lines are formatted and dropped.
#ifndef FUZZ_SURROUNDINGS_H
#define FUZZ_SURROUNDINGS_H

#include <optional>
#include <string>

class CSourceAPI;

// The document with the sources' names that the settings store holds; absent: unreadable.
extern std::optional<std::string> storedNames;

// The client of a process that has no bus.
CSourceAPI *clientWithoutBus();

#endif
