// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What command-line programs have in common. The wording of the error messages is the option
// parser's and differs between its versions, so that only the part that it quotes is compared.
#ifndef TESTS_USAGE_H
#define TESTS_USAGE_H

#include <gmock/gmock.h>

#include <string>

#include "ChildProgram.h"

// The command line was rejected with an error message that names `offender` and refers to --help.
inline void expectUsageError(const ProgramResult &result, const std::string &offender) {
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, ::testing::HasSubstr(offender));
    EXPECT_THAT(result.errors, ::testing::HasSubstr("\nRun with --help "));
}

// Help was printed, and contains `text`.
inline void expectHelp(const ProgramResult &result, const std::string &text) {
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, ::testing::HasSubstr(text));
}

inline void expectVersion(const ProgramResult &result, const std::string &program) {
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, ::testing::MatchesRegex(program + " [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

#endif
