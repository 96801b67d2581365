// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Runs sourcectl and reads its output.
#ifndef TESTS_SOURCECTL_PROGRAM_H
#define TESTS_SOURCECTL_PROGRAM_H

#include <gtest/gtest.h>

#include <string>

#include "ChildProgram.h"

// The whole command line.
inline Arguments sourcectlWith(Arguments arguments) {
    arguments.insert(arguments.begin(), SOURCECTL);
    return arguments;
}

// Without a TV unless `environment` names one, on the test's system bus.
inline ProgramResult sourcectl(const Arguments &arguments,
                               const ChildProgram::Environment &environment = {
                                   {"SOURCE_TV_ROOT", ""}}) {
    return runProgram(sourcectlWith(arguments), environment);
}

// A failure is one line on standard error, and nothing on standard output.
inline void expectFailure(const ProgramResult &result, const std::string &line) {
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "sourcectl: " + line + "\n");
}

#endif
