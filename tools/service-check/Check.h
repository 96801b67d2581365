// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A check tests one requirement that applications have of the service. The report lists the
// results.
#ifndef SERVICE_CHECK_CHECK_H
#define SERVICE_CHECK_CHECK_H

#include <json/json.h>

#include <array>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Session.h"

namespace service_check {

enum class Outcome { Passed, Failed, Skipped };
const char *nameOf(Outcome outcome);

struct Result {
    Outcome outcome;
    std::string expected;  // of a failed check
    std::string seen;      // of a skipped check: the reason
};

Result passed(const std::string &seen);
Result failed(const std::string &expected, const std::string &seen);
Result skipped(const std::string &reason);

struct Check {
    std::string id;
    std::string requirement;
    std::string prerequisite;  // id of the check that must pass first; may be empty
    std::function<Result(Session &)> run;
};
using Checks = std::vector<Check>;

// In the order in which they run.
Checks allChecks();

Checks listChecks();
Checks changeChecks();
Checks commandChecks();
Checks refusalChecks();
Checks availabilityChecks();

// Checks that several groups share.
Result checkListReply(const Reply &reply);
Result checkRenameSignal(const Session &session, const std::optional<Rename> &rename);

// Prints a line for each result as it is added, or one JSON document at the end.
class Report {
 public:
    Report(std::ostream &out, bool asJson) : m_out(out), m_asJson(asJson) {}

    void add(const Check &check, const Result &result);
    // Prints the summary, or the JSON document. False if writing failed.
    bool finish();

    int count(Outcome outcome) const { return m_counts[static_cast<std::size_t>(outcome)]; }

 private:
    std::ostream &m_out;
    bool m_asJson;
    std::array<int, 3> m_counts{};
    Json::Value m_checks = Json::arrayValue;
};

}  // namespace service_check

#endif
