// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_FAULT_H
#define EMULATED_TV_FAULT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace emulated_tv {

enum class FaultKind {
    // The command is carried out, but its answer is late or wrong.
    Late,
    NotJson,
    OtherJson,
    NoReturnData,
    OtherBody,
    EmptyBody,
    // The command is not carried out.
    Refused,
    DbusFail,
    Error,
    Absent,
    // What is no matter of one answer.
    Crash,
    Restart,
    Flood,
    Clear,
};

// A fault that somebody asks for. What is not given is empty.
struct FaultOrder {
    FaultKind kind = FaultKind::Clear;
    // How many answers or signals.
    std::optional<std::uint32_t> count;
    // The one command whose answers are meant.
    std::optional<std::string> command;
    // Milliseconds.
    std::optional<std::uint32_t> delay;
    std::optional<std::uint32_t> perSecond;
};

// The kinds by the names that people use, and back; an unknown name throws Refusal.
std::vector<std::string> faultNames();
FaultKind faultKind(const std::string &name);
std::string faultName(FaultKind kind);

// True when the fault is about the next answers.
bool concernsAnswers(FaultKind kind);

// Throws Refusal when the order has what its kind cannot use, or lacks what it needs.
void checkFaultOrder(const FaultOrder &order);

}  // namespace emulated_tv

#endif
