// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the check makes of a service that keeps every promise, and of one that breaks one.
#include <gmock/gmock.h>

#include <set>

#include "FaithfulService.h"
#include "Program.h"
#include "Promise.h"

namespace {

using ::testing::ElementsAre;

// With everything that the check can be told of the service.
Words toldAll(const std::string &timeout) {
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
            FaithfulService::restartCommand()};
}

std::vector<std::string> idsOfAll() {
    std::vector<std::string> ids;
    for (const Promise &promise : allPromises()) {
        ids.push_back(promise.id);
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

class KeptTest : public ::testing::Test {
 protected:
    TestBus bus;
    FaithfulService service{bus};
};

TEST_F(KeptTest, EveryPromiseIsKeptByAServiceThatKeepsThem) {
    const Ended ended = serviceCheck(toldAll("20000"));
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_THAT(idsByOutcome(parsedJson(ended.output)), ElementsAre(std::pair("kept", idsOfAll())));
}

TEST_F(KeptTest, EveryPromiseIsKeptByAServiceThatDoesSoStrangely) {
    service.keepThemStrangely();
    const Ended ended = serviceCheck(toldAll("20000"));
    EXPECT_EQ(ended.exitCode, 0) << ended.output;
}

TEST_F(KeptTest, TheServiceIsLeftAsItWas) {
    const Json::Value list = service.list();
    const Json::Value icons = service.icons();
    ASSERT_EQ(serviceCheck(toldAll("20000")).exitCode, 0);
    EXPECT_EQ(service.list(), list);
    EXPECT_EQ(service.icons(), icons);
}

TEST(PromisesTest, EachHasAnIdOfItsOwnAndNeedsAnEarlierOne) {
    std::set<std::string> earlier = {""};
    for (const Promise &promise : allPromises()) {
        EXPECT_EQ(earlier.count(promise.needs), 1U) << promise.id;
        EXPECT_TRUE(earlier.insert(promise.id).second) << promise.id;
    }
}

class BrokenPromiseTest : public ::testing::TestWithParam<std::string> {};

// The whole limit passes where the break is that nothing comes.
std::string timeoutFor(const std::string &id) {
    return id == "change-signal" || id == "restart-signal" ? "10000" : "20000";
}

TEST_P(BrokenPromiseTest, IsReportedAndNoOther) {
    const TestBus bus;
    const FaithfulService service(bus, GetParam());
    const Ended ended = serviceCheck(toldAll(timeoutFor(GetParam())));
    EXPECT_EQ(ended.exitCode, 1);
    const Json::Value report = parsedJson(ended.output);
    EXPECT_THAT(idsByOutcome(report)["broken"], ElementsAre(GetParam())) << ended.output;
    for (const Json::Value &promise : report["promises"]) {
        if (promise["outcome"] == "broken") {
            EXPECT_NE(promise["expected"].asString(), "");
            EXPECT_NE(promise["seen"].asString(), "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, BrokenPromiseTest, ::testing::ValuesIn(idsOfAll()), nameOfTest);

}  // namespace
