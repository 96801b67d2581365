// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Program.h"

Ended finish(ChildProgram &program) {
    program.closeInput();
    std::string output = program.readAll();
    const int exitCode = program.waitForExit();
    return {exitCode, std::move(output), program.errors()};
}

Ended run(const Words &commandLine) {
    ChildProgram program(commandLine);
    return finish(program);
}

Ended serviceCheck(Words arguments) {
    arguments.insert(arguments.begin(), SERVICE_CHECK);
    return run(arguments);
}

std::map<std::string, std::vector<std::string>> idsByOutcome(const Json::Value &report) {
    std::map<std::string, std::vector<std::string>> ids;
    for (const Json::Value &promise : report["promises"]) {
        ids[promise["outcome"].asString()].push_back(promise["id"].asString());
    }
    return ids;
}
