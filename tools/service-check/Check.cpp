// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Check.h"

#include <iomanip>
#include <iterator>

#include "JsonText.h"

namespace service_check {

namespace {

constexpr int outcomeWidth = 8;
constexpr int idWidth = 23;

std::string detailsOf(const Result &result) {
    switch (result.outcome) {
        case Outcome::Passed:
            return "seen: " + result.seen;
        case Outcome::Failed:
            return "expected: " + result.expected + "; seen: " + result.seen;
        case Outcome::Skipped:
            break;
    }
    return result.seen;
}

Json::Value recordOf(const Check &check, const Result &result) {
    Json::Value record;
    record["id"] = check.id;
    record["requirement"] = check.requirement;
    record["outcome"] = nameOf(result.outcome);
    if (result.outcome == Outcome::Failed) {
        record["expected"] = result.expected;
    }
    record[result.outcome == Outcome::Skipped ? "reason" : "seen"] = result.seen;
    return record;
}

}  // namespace

const char *nameOf(Outcome outcome) {
    switch (outcome) {
        case Outcome::Passed:
            return "passed";
        case Outcome::Failed:
            return "failed";
        case Outcome::Skipped:
            break;
    }
    return "skipped";
}

Result passed(const std::string &seen) {
    return {Outcome::Passed, "", seen};
}

Result failed(const std::string &expected, const std::string &seen) {
    return {Outcome::Failed, expected, seen};
}

Result skipped(const std::string &reason) {
    return {Outcome::Skipped, "", reason};
}

Checks allChecks() {
    Checks all;
    for (const auto group :
         {listChecks, changeChecks, commandChecks, refusalChecks, availabilityChecks}) {
        Checks checks = group();
        all.insert(all.end(), std::make_move_iterator(checks.begin()),
                   std::make_move_iterator(checks.end()));
    }
    return all;
}

void Report::add(const Check &check, const Result &result) {
    ++m_counts[static_cast<std::size_t>(result.outcome)];
    if (m_asJson) {
        m_checks.append(recordOf(check, result));
        return;
    }
    m_out << std::left << std::setw(outcomeWidth) << nameOf(result.outcome) << std::setw(idWidth)
          << check.id << check.requirement << " (" << detailsOf(result) << ")" << std::endl;
}

bool Report::finish() {
    Json::Value summary;
    std::string text;
    for (const Outcome outcome : {Outcome::Passed, Outcome::Failed, Outcome::Skipped}) {
        summary[nameOf(outcome)] = count(outcome);
        text += (text.empty() ? "" : ", ") + std::to_string(count(outcome)) + " " + nameOf(outcome);
    }
    if (m_asJson) {
        Json::Value report;
        report["checks"] = m_checks;
        report["summary"] = summary;
        m_out << support::jsonDocument(report) << std::flush;
    } else {
        m_out << text << std::endl;
    }
    return static_cast<bool>(m_out);
}

}  // namespace service_check
