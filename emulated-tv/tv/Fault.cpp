// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Fault.h"

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

bool concernsAnswers(FaultKind kind) {
    return kind < FaultKind::Crash;
}

void checkFaultOrder(const FaultOrder &order) {
    const bool isFlood = order.kind == FaultKind::Flood;
    refuseWhen(order.count && !concernsAnswers(order.kind) && !isFlood, order.kind, "count");
    refuseWhen(order.command && !concernsAnswers(order.kind), order.kind, "command");
    refuseWhen(order.delay && order.kind != FaultKind::Late, order.kind, "delay");
    refuseWhen(order.perSecond && !isFlood, order.kind, "rate per second");
    if (order.kind == FaultKind::Late && !order.delay) {
        throw Refusal("the fault late needs a delay");
    }
    if (isFlood && !order.count) {
        throw Refusal("the fault flood needs a count");
    }
    if (order.count == 0U || order.perSecond == 0U) {
        throw Refusal("a count or a rate begins at 1");
    }
    const std::vector<std::string> commands = Commands::names();
    if (order.command &&
        std::find(commands.begin(), commands.end(), *order.command) == commands.end()) {
        throw Refusal("there is no command \"" + *order.command + "\"; the source service has " +
                      listed(commands));
    }
}

}  // namespace emulated_tv
