// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Usage.h"

#include "ServiceCheckProgram.h"

namespace {

class WrongUsageTest : public ::testing::TestWithParam<std::pair<Arguments, std::string>> {};

TEST_P(WrongUsageTest, IsRejectedWithTheReasonOnStandardError) {
    const auto &[arguments, offender] = GetParam();
    expectUsageError(serviceCheck(arguments), offender);
}

INSTANTIATE_TEST_SUITE_P(
    ServiceCheck, WrongUsageTest,
    ::testing::Values(std::pair(Arguments{"everything"}, "everything"),
                      std::pair(Arguments{"--timeout", "0"}, "--timeout"),
                      std::pair(Arguments{"--timeout", "soon"}, "--timeout"),
                      std::pair(Arguments{"--device-type", "3"}, "--source"),
                      std::pair(Arguments{"--source", "av", "--device-type", "-1"},
                                "--device-type"),
                      std::pair(Arguments{"--shown", "\xff"}, "--shown: not valid UTF-8"),
                      std::pair(Arguments{"--restart"}, "--restart")));

TEST(ServiceCheckUsageTest, HelpContainsTheExitCodes) {
    expectHelp(serviceCheck({"--help"}), "Exit codes:\n  0    every check passed");
}

TEST(ServiceCheckUsageTest, VersionIsPrinted) {
    expectVersion(serviceCheck({"--version"}), "service-check");
}

}  // namespace
