// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_ARMED_FAULTS_H
#define EMULATED_TV_ARMED_FAULTS_H

#include <list>
#include <optional>
#include <string>

#include "Fault.h"

namespace emulated_tv {

// The faults that wait for an answer to spoil.
class ArmedFaults {
 public:
    // One that concerns answers.
    void add(const FaultOrder &fault);
    void clear() { m_faults.clear(); }

    // What is to befall the answer to a request: the oldest fault that means it, one use of which
    // is gone then.
    std::optional<FaultOrder> take(const std::string &request);

 private:
    std::list<FaultOrder> m_faults;
};

}  // namespace emulated_tv

#endif
