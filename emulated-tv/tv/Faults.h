// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Faults of the source service that a user or a scenario can request.
#ifndef EMULATED_TV_FAULTS_H
#define EMULATED_TV_FAULTS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "Timer.h"

namespace emulated_tv {

enum class FaultKind {
    // The command is executed, but its reply is late or wrong.
    Late,
    NotJson,
    OtherJson,
    NoReturnData,
    OtherBody,
    EmptyBody,
    // The command is not executed.
    Refused,
    DbusFail,
    Error,
    Absent,
    // Faults of the whole service.
    Crash,
    Restart,
    Flood,
    Clear,
};

struct Fault {
    FaultKind kind = FaultKind::Clear;
    // Number of replies or signals.
    std::optional<std::uint32_t> count;
    // The only command whose replies are affected.
    std::optional<std::string> command;
    // In milliseconds.
    std::optional<std::uint32_t> delay;
    std::optional<std::uint32_t> perSecond;
};

// The names of the kinds on the command line and in scenarios. An unknown name throws Refusal.
std::vector<std::string> faultNames();
FaultKind faultKind(const std::string &name);
std::string faultName(FaultKind kind);

// True for the kinds that change replies.
bool affectsReplies(FaultKind kind);
// True for the kinds of which the command is not executed.
bool preventsCommand(FaultKind kind);

// Throws Refusal if a member is given that the kind does not use, or a required one is missing.
void checkFault(const Fault &fault);

// Faults that apply to replies to come.
class PendingFaults {
 public:
    // Of a kind that affects replies. Without a count it applies to one reply.
    void add(const Fault &fault);
    void clear() { m_faults.clear(); }

    // Returns the oldest fault that applies to the reply to the request, and decrements its count.
    std::optional<Fault> take(const std::string &request);

 private:
    std::list<Fault> m_faults;
};

// Emits many signals from the main loop, which handles calls in between.
class SignalFlood {
 public:
    // Without a rate the signals follow each other immediately. Replaces a flood in progress.
    void start(std::uint32_t count, std::optional<std::uint32_t> perSecond,
               std::function<void()> emit);
    void stop() { m_timer.stop(); }

 private:
    using Clock = std::chrono::steady_clock;

    void emitDue();
    std::uint64_t due() const;

    std::function<void()> m_emit;
    std::uint64_t m_count = 0;
    std::uint64_t m_sent = 0;
    std::optional<std::uint32_t> m_perSecond;
    Clock::time_point m_start;
    support::Timer m_timer;
};

}  // namespace emulated_tv

#endif
