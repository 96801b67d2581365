// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Programs.h"

#include <gtest/gtest.h>

namespace {

Words joined(const std::string &program, const Words &arguments) {
    Words commandLine = {program};
    commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
    return commandLine;
}

}  // namespace

Words sourcectlWith(const Words &arguments) {
    return joined(SOURCECTL, arguments);
}

Words tvEmulatorWith(const Words &arguments) {
    return joined(TV_EMULATOR, arguments);
}

Outcome run(const Words &commandLine, const ChildProgram::Environment &environment) {
    return runProgram(commandLine, environment);
}

Outcome sourcectl(const Words &arguments) {
    return run(sourcectlWith(arguments), {{"SOURCE_TV_ROOT", ""}});
}

void expectFailure(const Outcome &outcome, const std::string &line) {
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "sourcectl: " + line + "\n");
}
