// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "Program.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class WrongUsageTest : public ::testing::TestWithParam<std::pair<Words, std::string>> {};

TEST_P(WrongUsageTest, IsRefusedWithItsReasonOnStandardError) {
    const auto &[arguments, reason] = GetParam();
    const Ended ended = serviceCheck(arguments);
    EXPECT_EQ(ended.exitCode, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, reason + "\nRun with --help for more information.\n");
}

INSTANTIATE_TEST_SUITE_P(
    ServiceCheck, WrongUsageTest,
    ::testing::Values(
        std::pair(Words{"everything"}, "The following argument was not expected: everything"),
        std::pair(Words{"--timeout", "0"}, "--timeout: Value 0 not in range 1 to 600000"),
        std::pair(Words{"--timeout", "soon"}, "--timeout: Value soon not in range 1 to 600000"),
        std::pair(Words{"--device-type", "3"}, "--device-type requires --source"),
        std::pair(Words{"--source", "av", "--device-type", "-1"},
                  "Could not convert: --device-type = -1"),
        std::pair(Words{"--shown", "\xff"}, "--shown: not valid UTF-8"),
        std::pair(Words{"--restart"}, "--restart: 1 required COMMAND missing")));

TEST(ServiceCheckUsageTest, HelpTellsItsExitCodes) {
    const Ended ended = serviceCheck({"--help"});
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_THAT(ended.output, HasSubstr("Exit codes:\n  0    every promise is kept"));
}

TEST(ServiceCheckUsageTest, VersionIsPrinted) {
    const Ended ended = serviceCheck({"--version"});
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_THAT(ended.output, MatchesRegex("service-check [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

}  // namespace
