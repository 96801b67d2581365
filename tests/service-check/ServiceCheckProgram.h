// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Runs service-check and reads its report.
#ifndef TESTS_SERVICE_CHECK_PROGRAM_H
#define TESTS_SERVICE_CHECK_PROGRAM_H

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

#include "ChildProgram.h"

inline ProgramResult serviceCheck(Arguments arguments) {
    arguments.insert(arguments.begin(), SERVICE_CHECK);
    return runProgram(arguments);
}

// The ids of the checks in a JSON report by outcome: passed, failed or skipped.
inline std::map<std::string, std::vector<std::string>> idsByOutcome(const Json::Value &report) {
    std::map<std::string, std::vector<std::string>> ids;
    for (const Json::Value &check : report["checks"]) {
        ids[check["outcome"].asString()].push_back(check["id"].asString());
    }
    return ids;
}

#endif
