// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "Programs.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class WrongUsageTest : public ::testing::TestWithParam<std::pair<Words, std::string>> {};

TEST_P(WrongUsageTest, IsRefusedWithItsReasonOnStandardError) {
    const auto &[arguments, reason] = GetParam();
    const Outcome outcome = sourcectl(arguments);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, reason + "\nRun with --help for more information.\n");
}

INSTANTIATE_TEST_SUITE_P(
    Usage, WrongUsageTest,
    ::testing::Values(
        std::pair(Words{}, "A subcommand is required"),
        std::pair(Words{"lst"}, "The following argument was not expected: lst"),
        std::pair(Words{"list", "watch"}, "The following argument was not expected: watch"),
        std::pair(Words{"list", "--nonsense"},
                  "The following argument was not expected: --nonsense"),
        std::pair(Words{"connect"}, "TYPE is required"),
        std::pair(Words{"connect", "four"}, "Could not convert: TYPE = four"),
        std::pair(Words{"connect", "2147483648"}, "Could not convert: TYPE = 2147483648"),
        std::pair(Words{"connect", "4", "5"}, "The following argument was not expected: 5"),
        std::pair(Words{"run", "8"}, "KEY is required"),
        std::pair(Words{"name", "4", "--index", "x"}, "Could not convert: --index = x"),
        std::pair(Words{"rename", "4"}, "TEXT is required"),
        std::pair(Words{"rename", "4", "\xff"}, "TEXT: not valid UTF-8"),
        std::pair(Words{"device-type", "4", "-1"}, "Could not convert: NUMBER = -1"),
        std::pair(Words{"device-type", "4", "4294967296"},
                  "Could not convert: NUMBER = 4294967296"),
        std::pair(Words{"detected", "4", "Player"}, "DEVICE_TYPE is required"),
        std::pair(Words{"osd"}, "TYPE is required"), std::pair(Words{"usb"}, "KEY is required"),
        std::pair(Words{"icon", "4", "--source", "a.png"}, "--source requires --focused"),
        std::pair(Words{"watch", "--count", "0"}, "--count: Value 0 not in range 1 to 4294967295"),
        std::pair(Words{"watch", "--timeout", "4294968"},
                  "--timeout: Value 4294968 not in range 0 to 4294967")));

class HelpTest : public ::testing::TestWithParam<const char *> {};

TEST_P(HelpTest, DescribesTheCommandWithAnExample) {
    const std::string command = GetParam();
    const Outcome outcome = sourcectl({command, "--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("\nUsage: sourcectl " + command));
    EXPECT_THAT(outcome.output, HasSubstr("\n  sourcectl " + command));

    EXPECT_THAT(sourcectl({"--help"}).output, HasSubstr("\n  " + command + "  "));
}

INSTANTIATE_TEST_SUITE_P(Usage, HelpTest,
                         ::testing::Values("list", "watch", "connect", "run", "name", "rename",
                                           "device-type", "detected", "osd", "usb", "icon"));

TEST(UsageTest, HelpOfTheProgramTellsItsExitCodes) {
    const Outcome outcome = sourcectl({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, HasSubstr("Exit codes:\n  0  done\n  1  refused"));
}

TEST(UsageTest, VersionIsPrinted) {
    const Outcome outcome = sourcectl({"--version"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, MatchesRegex("sourcectl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

}  // namespace
