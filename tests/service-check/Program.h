// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// service-check, run to its end.
#ifndef TESTS_SERVICE_CHECK_PROGRAM_H
#define TESTS_SERVICE_CHECK_PROGRAM_H

#include <json/json.h>

#include <map>
#include <string>
#include <vector>

#include "ChildProgram.h"

using Words = std::vector<std::string>;

struct Ended {
    int exitCode;
    std::string output;
    std::string errors;
};

// `program` with nothing more to read.
Ended finish(ChildProgram &program);
Ended run(const Words &commandLine);
Ended serviceCheck(Words arguments);

// The ids of the report's promises by outcome: kept, broken or skipped.
std::map<std::string, std::vector<std::string>> idsByOutcome(const Json::Value &report);

#endif
