// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ArmedFaults.h"

#include <algorithm>

#include "Commands.h"

namespace emulated_tv {

void ArmedFaults::add(const FaultOrder &fault) {
    m_faults.push_back(fault);
    m_faults.back().count = fault.count.value_or(1);
}

std::optional<FaultOrder> ArmedFaults::take(const std::string &request) {
    if (m_faults.empty()) {
        return std::nullopt;
    }
    const std::string command = Commands::nameIn(request);
    const auto found = std::find_if(m_faults.begin(), m_faults.end(), [&](const FaultOrder &fault) {
        return !fault.command || *fault.command == command;
    });
    if (found == m_faults.end()) {
        return std::nullopt;
    }
    const FaultOrder fault = *found;
    if (--*found->count == 0) {
        m_faults.erase(found);
    }
    return fault;
}

}  // namespace emulated_tv
