// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Every check passes against a conforming service and fails against one that violates its
// requirement.
#include <gmock/gmock.h>

#include <set>

#include "Check.h"
#include "ConformingService.h"
#include "ServiceCheckProgram.h"

namespace {

using ::testing::ElementsAre;

// The options for which no check is skipped.
Arguments allOptions(const std::string &timeout) {
    return {"--json",
            "--timeout",
            timeout,
            "--source",
            "av",
            "--shown",
            "usb",
            "--device-type",
            "3",
            "--restart",
            ConformingService::restartCommand()};
}

std::vector<std::string> allIds() {
    std::vector<std::string> ids;
    for (const service_check::Check &check : service_check::allChecks()) {
        ids.push_back(check.id);
    }
    return ids;
}

std::string nameOfTest(const ::testing::TestParamInfo<std::string> &info) {
    std::string name = info.param;
    for (char &character : name) {
        character = character == '-' ? '_' : character;
    }
    return name;
}

class ConformingServiceTest : public ::testing::Test {
 protected:
    TestBus bus;
    ConformingService service{bus};
};

TEST_F(ConformingServiceTest, PassesEveryCheck) {
    const ProgramResult result = serviceCheck(allOptions("20000"));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(idsByOutcome(parsedJson(result.output)),
                ElementsAre(std::pair("passed", allIds())));
}

TEST_F(ConformingServiceTest, PassesEveryCheckIfItConformsInUnusualWays) {
    service.conformUnusually();
    const ProgramResult result = serviceCheck(allOptions("20000"));
    EXPECT_EQ(result.exitCode, 0) << result.output;
}

TEST_F(ConformingServiceTest, IsLeftUnchanged) {
    const Json::Value list = service.list();
    const Json::Value icons = service.icons();
    ASSERT_EQ(serviceCheck(allOptions("20000")).exitCode, 0);
    EXPECT_EQ(service.list(), list);
    EXPECT_EQ(service.icons(), icons);
}

TEST(ChecksTest, EachHasAUniqueIdAndAnEarlierPrerequisite) {
    std::set<std::string> earlier = {""};
    for (const service_check::Check &check : service_check::allChecks()) {
        EXPECT_EQ(earlier.count(check.prerequisite), 1U) << check.id;
        EXPECT_TRUE(earlier.insert(check.id).second) << check.id;
    }
}

class FailingServiceTest : public ::testing::TestWithParam<std::string> {};

// These checks wait for the whole timeout if they fail.
std::string timeoutFor(const std::string &id) {
    return id == "change-signal" || id == "restart-signal" ? "10000" : "20000";
}

TEST_P(FailingServiceTest, FailsThatCheckOnly) {
    const TestBus bus;
    const ConformingService service(bus, GetParam());
    const ProgramResult result = serviceCheck(allOptions(timeoutFor(GetParam())));
    EXPECT_EQ(result.exitCode, 1);
    const Json::Value report = parsedJson(result.output);
    EXPECT_THAT(idsByOutcome(report)["failed"], ElementsAre(GetParam())) << result.output;
    for (const Json::Value &check : report["checks"]) {
        if (check["outcome"] == "failed") {
            EXPECT_NE(check["expected"].asString(), "");
            EXPECT_NE(check["seen"].asString(), "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, FailingServiceTest, ::testing::ValuesIn(allIds()), nameOfTest);

}  // namespace
