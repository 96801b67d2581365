// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Usage.h"

#include "SourcectlProgram.h"

namespace {

using ::testing::ContainsRegex;

class WrongUsageTest : public ::testing::TestWithParam<std::pair<Arguments, std::string>> {};

TEST_P(WrongUsageTest, IsRejectedWithTheReasonOnStandardError) {
    const auto &[arguments, offender] = GetParam();
    expectUsageError(sourcectl(arguments), offender);
}

INSTANTIATE_TEST_SUITE_P(
    Usage, WrongUsageTest,
    ::testing::Values(std::pair(Arguments{}, ""), std::pair(Arguments{"lst"}, "lst"),
                      std::pair(Arguments{"list", "watch"}, "watch"),
                      std::pair(Arguments{"list", "--nonsense"}, "--nonsense"),
                      std::pair(Arguments{"connect"}, "TYPE"),
                      std::pair(Arguments{"connect", "four"}, "TYPE"),
                      std::pair(Arguments{"connect", "2147483648"}, "TYPE"),
                      std::pair(Arguments{"connect", "4", "5"}, "5"),
                      std::pair(Arguments{"run", "8"}, "KEY"),
                      std::pair(Arguments{"name", "4", "--index", "x"}, "--index"),
                      std::pair(Arguments{"rename", "4"}, "TEXT"),
                      std::pair(Arguments{"rename", "4", "\xff"}, "TEXT: not valid UTF-8"),
                      std::pair(Arguments{"device-type", "4", "-1"}, "NUMBER"),
                      std::pair(Arguments{"device-type", "4", "4294967296"}, "NUMBER"),
                      std::pair(Arguments{"detected", "4", "Player"}, "DEVICE_TYPE"),
                      std::pair(Arguments{"osd"}, "TYPE"), std::pair(Arguments{"usb"}, "KEY"),
                      std::pair(Arguments{"icon", "4", "--source", "a.png"}, "--focused"),
                      std::pair(Arguments{"watch", "--count", "0"}, "--count"),
                      std::pair(Arguments{"watch", "--timeout", "4294968"}, "--timeout")));

class HelpTest : public ::testing::TestWithParam<const char *> {};

TEST_P(HelpTest, DescribesTheCommandWithAnExample) {
    const std::string command = GetParam();
    const ProgramResult help = sourcectl({command, "--help"});
    expectHelp(help, "\n  sourcectl " + command);
    EXPECT_THAT(help.output, ContainsRegex("[Uu]sage: *sourcectl " + command));

    expectHelp(sourcectl({"--help"}), "\n  " + command + "  ");
}

INSTANTIATE_TEST_SUITE_P(Usage, HelpTest,
                         ::testing::Values("list", "watch", "connect", "run", "name", "rename",
                                           "device-type", "detected", "osd", "usb", "icon"));

TEST(UsageTest, HelpOfTheProgramContainsTheExitCodes) {
    expectHelp(sourcectl({"--help"}), "Exit codes:\n  0  done\n  1  refused");
}

TEST(UsageTest, VersionIsPrinted) {
    expectVersion(sourcectl({"--version"}), "sourcectl");
}

}  // namespace
