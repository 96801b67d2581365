// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Faults.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Commands.h"
#include "Refusal.h"

namespace emulated_tv {

namespace {

constexpr std::pair<const char *, FaultKind> kinds[] = {
    {"late", FaultKind::Late},
    {"not-json", FaultKind::NotJson},
    {"other-json", FaultKind::OtherJson},
    {"no-return-data", FaultKind::NoReturnData},
    {"other-body", FaultKind::OtherBody},
    {"empty-body", FaultKind::EmptyBody},
    {"refused", FaultKind::Refused},
    {"dbus-fail", FaultKind::DbusFail},
    {"error", FaultKind::Error},
    {"absent", FaultKind::Absent},
    {"crash", FaultKind::Crash},
    {"restart", FaultKind::Restart},
    {"flood", FaultKind::Flood},
    {"clear", FaultKind::Clear},
};

std::string listed(const std::vector<std::string> &names) {
    std::string list;
    for (const std::string &name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

void refuseWhen(bool isGiven, FaultKind kind, const char *what) {
    if (isGiven) {
        throw Refusal("the fault " + faultName(kind) + " takes no " + what);
    }
}

}  // namespace

std::vector<std::string> faultNames() {
    std::vector<std::string> names;
    names.reserve(std::size(kinds));
    for (const auto &[name, kind] : kinds) {
        names.push_back(name);
    }
    return names;
}

FaultKind faultKind(const std::string &name) {
    const auto found = std::find_if(std::begin(kinds), std::end(kinds),
                                    [&](const auto &entry) { return entry.first == name; });
    if (found == std::end(kinds)) {
        throw Refusal("there is no fault \"" + name + "\"; there are " + listed(faultNames()));
    }
    return found->second;
}

std::string faultName(FaultKind kind) {
    return std::find_if(std::begin(kinds), std::end(kinds),
                        [&](const auto &entry) { return entry.second == kind; })
        ->first;
}

bool affectsReplies(FaultKind kind) {
    return kind < FaultKind::Crash;
}

bool preventsCommand(FaultKind kind) {
    return kind >= FaultKind::Refused && kind <= FaultKind::Absent;
}

void checkFault(const Fault &fault) {
    const bool isFlood = fault.kind == FaultKind::Flood;
    refuseWhen(fault.count && !affectsReplies(fault.kind) && !isFlood, fault.kind, "count");
    refuseWhen(fault.command && !affectsReplies(fault.kind), fault.kind, "command");
    refuseWhen(fault.delay && fault.kind != FaultKind::Late, fault.kind, "delay");
    refuseWhen(fault.perSecond && !isFlood, fault.kind, "rate per second");
    if (fault.kind == FaultKind::Late && !fault.delay) {
        throw Refusal("the fault late needs a delay");
    }
    if (isFlood && !fault.count) {
        throw Refusal("the fault flood needs a count");
    }
    if (fault.count == 0U || fault.perSecond == 0U) {
        throw Refusal("a count and a rate per second must be at least 1");
    }
    const std::vector<std::string> commands = Commands::names();
    if (fault.command &&
        std::find(commands.begin(), commands.end(), *fault.command) == commands.end()) {
        throw Refusal("there is no command \"" + *fault.command + "\"; the source service has " +
                      listed(commands));
    }
}

void PendingFaults::add(const Fault &fault) {
    m_faults.push_back(fault);
    m_faults.back().count = fault.count.value_or(1);
}

std::optional<Fault> PendingFaults::take(const std::string &request) {
    if (m_faults.empty()) {
        return std::nullopt;
    }
    const std::string command = Commands::nameIn(request);
    const auto found = std::find_if(m_faults.begin(), m_faults.end(), [&](const Fault &fault) {
        return !fault.command || *fault.command == command;
    });
    if (found == m_faults.end()) {
        return std::nullopt;
    }
    const Fault fault = *found;
    if (--*found->count == 0) {
        m_faults.erase(found);
    }
    return fault;
}

using std::chrono::milliseconds;

void SignalFlood::start(std::uint32_t count, std::optional<std::uint32_t> perSecond,
                        std::function<void()> emit) {
    m_emit = std::move(emit);
    m_count = count;
    m_sent = 0;
    m_perSecond = perSecond;
    m_start = Clock::now();
    m_timer.start(milliseconds(0), [this] { emitDue(); });
}

void SignalFlood::emitDue() {
    // Bounds the time until pending calls are handled, also if the signals are behind schedule.
    constexpr std::uint64_t atOnce = 50;
    for (const std::uint64_t limit = std::min(due(), m_sent + atOnce); m_sent < limit; ++m_sent) {
        m_emit();
    }
    if (m_sent < m_count) {
        const auto pause = m_perSecond ? std::max(1U, 1000 / *m_perSecond) : 0;
        m_timer.start(milliseconds(pause), [this] { emitDue(); });
    }
}

// The number of signals that should have been sent by now.
std::uint64_t SignalFlood::due() const {
    if (!m_perSecond) {
        return m_count;
    }
    const auto passed = std::chrono::duration_cast<milliseconds>(Clock::now() - m_start);
    const auto sent = static_cast<std::uint64_t>(passed.count()) * *m_perSecond / 1000;
    return std::min(1 + sent, m_count);
}

}  // namespace emulated_tv
