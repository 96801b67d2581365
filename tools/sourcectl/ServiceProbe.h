// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_SERVICE_PROBE_H
#define SOURCECTL_SERVICE_PROBE_H

#include <optional>
#include <string>

// The library answers false for a refusal and for a service out of reach alike; this asks the bus
// which it was. Empty when the source service is there. Blocks for 25 seconds at most.
std::optional<std::string> whyUnreachable();

#endif
