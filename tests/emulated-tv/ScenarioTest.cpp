// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Scenario.h"

#include <gmock/gmock.h>

#include "Commands.h"
#include "Faults.h"
#include "JsonText.h"
#include "ScenarioSchema.h"
#include "SettingsStore.h"

namespace emulated_tv {

using testing::ElementsAre;

namespace {

std::string mistakesIn(const std::string &text) {
    try {
        const Scenario scenario("file.json", text);
        scenario.rehearse(scenario.tv().value_or(defaultSources()));
        return "";
    } catch (const ScenarioError &error) {
        return error.what();
    }
}

std::vector<std::string> wordsIn(const Json::Value &list) {
    std::vector<std::string> words;
    for (const Json::Value &word : list) {
        words.push_back(word.asString());
    }
    return words;
}

}  // namespace

struct Wrong {
    const char *name;
    const char *text;
    const char *mistakes;
};

std::ostream &operator<<(std::ostream &out, const Wrong &wrong) {
    return out << wrong.text;
}

class WrongScenarioTest : public testing::TestWithParam<Wrong> {};

TEST_P(WrongScenarioTest, IsReportedWithItsLine) {
    EXPECT_EQ(mistakesIn(GetParam().text), GetParam().mistakes);
}

INSTANTIATE_TEST_SUITE_P(
    Each, WrongScenarioTest,
    testing::Values(
        Wrong{"NoJson", "{\n\"events\": [\n{]\n}",
              "file.json:3: not JSON: Missing '}' or object member name"},
        Wrong{"Empty", "", "file.json:1: not JSON: Syntax error: value, object or array expected."},
        Wrong{"MemberTwice", "{\"events\": [],\n\"events\": []}",
              "file.json:2: not JSON: Duplicate key: 'events'"},
        Wrong{"NoObject", "\n[]", "file.json:2: the document must be an object"},
        Wrong{"NothingToPlay", "\n\n{}", "file.json:3: \"events\" is missing in the document"},
        Wrong{"UnknownMember", "{\"events\": [],\n\n\"evnts\": []}",
              "file.json:3: unknown member \"evnts\"; there can be \"$schema\", \"description\", "
              "\"events\", \"tv\""},
        Wrong{"NoList", "{\"events\":\n7}", "file.json:2: \"events\" must be a list"},
        Wrong{"NoEvent", "{\"events\": [\n\"plug\"]}",
              "file.json:2: an element of \"events\" must be an object"},
        Wrong{"NothingToDo", "{\"events\": [\n{\"at\": 1}]}",
              "file.json:2: \"do\" is missing in an element of \"events\""},
        Wrong{"UnknownEvent", "{\"events\": [{\n\"do\": \"explode\"}]}",
              "file.json:2: \"do\" must be one of \"plug\", \"unplug\", \"rename\", \"power\", "
              "\"emit\", \"fault\""},
        Wrong{"MemberOfAnotherEvent",
              "{\"events\": [{\"do\": \"unplug\", \"source\": \"hdmi1\",\n\"name\": \"x\"}]}",
              "file.json:2: unknown member \"name\"; there can be \"after\", \"at\", \"do\", "
              "\"source\""},
        Wrong{"NoSource", "{\"events\": [\n{\"do\": \"plug\"}]}",
              "file.json:2: \"source\" is missing in an element of \"events\""},
        Wrong{"TextForANumber", "{\"events\": [{\"do\": \"emit\",\n\"result\": \"1\"}]}",
              "file.json:2: \"result\" must be a whole number"},
        Wrong{"NumberOutOfRange", "{\"events\": [{\"do\": \"emit\",\n\"result\": 6}]}",
              "file.json:2: \"result\" must be from 1 to 5"},
        Wrong{"NegativeTime", "{\"events\": [{\"do\": \"emit\", \"result\": 1,\n\"at\": -1}]}",
              "file.json:2: \"at\" must be from 0 to 86400000"},
        Wrong{"TextOutOfASet",
              "{\"events\": [{\"do\": \"power\", \"source\": \"hdmi1\",\n\"state\": \"up\"}]}",
              "file.json:2: \"state\" must be one of \"on\", \"off\""},
        Wrong{"TextWithAZero", "{\"events\": [{\"do\": \"plug\",\n\"source\": \"usb\\u0000\"}]}",
              "file.json:2: \"source\" is not a valid text"},
        Wrong{"TwoTimes",
              "{\"events\": [{\"do\": \"emit\", \"result\": 1,\n\"at\": 1,\n\"after\": 1}]}",
              "file.json:3: \"at\" and \"after\" cannot both be given"},
        Wrong{"BackInTime",
              "{\"events\": [{\"do\": \"emit\", \"result\": 1, \"at\": 20},\n"
              "{\"do\": \"emit\", \"result\": 1, \"at\": 10}]}",
              "file.json:2: \"at\" must not be before the event above it, which happens at 20"},
        Wrong{"FaultWithoutItsDelay", "{\"events\": [\n{\"do\": \"fault\", \"kind\": \"late\"}]}",
              "file.json:2: the fault late needs a delay"},
        Wrong{"UnknownSource", "{\"events\": [\n\n{\"do\": \"unplug\", \"source\": \"hdmi9\"}]}",
              "file.json:3: there is no source \"hdmi9\"; the TV has tuner, hdmi1, hdmi2, hdmi3, "
              "av, usb-disk, usb-camera"},
        Wrong{"PowerOfAnEmptyPort",
              "{\"events\": [{\"do\": \"unplug\", \"source\": \"hdmi1\"},\n"
              "{\"do\": \"power\", \"source\": \"hdmi1\", \"state\": \"on\"}]}",
              "file.json:2: nothing is plugged into \"hdmi1\""},
        Wrong{"SourceTwice",
              "{\"tv\": {\"selected\": \"a\", \"sources\": [{\"uniqueKey\": \"a\", "
              "\"sourceType\": 1},\n{\"uniqueKey\": \"a\", \"sourceType\": 2}]}, \"events\": []}",
              "file.json:2: there is another source with this \"uniqueKey\""},
        Wrong{"UnknownSourceIsShown",
              "{\"tv\": {\n\"selected\": \"b\", \"sources\": [{\"uniqueKey\": \"a\", "
              "\"sourceType\": 1}]}, \"events\": []}",
              "file.json:2: there is no source \"b\"; the TV has a"},
        Wrong{"SeveralMistakes",
              "{\"events\": [\n{\"do\": \"emit\", \"result\": 0},\n{\"do\": \"jump\"},\n"
              "{\"do\": \"fault\", \"kind\": \"crash\", \"extra\": 1}]}",
              "file.json:2: \"result\" must be from 1 to 5\n"
              "file.json:3: \"do\" must be one of \"plug\", \"unplug\", \"rename\", \"power\", "
              "\"emit\", \"fault\"\n"
              "file.json:4: unknown member \"extra\"; there can be \"after\", \"at\", \"command\", "
              "\"count\", \"delay\", \"do\", \"kind\", \"perSecond\""}),
    [](const auto &tested) { return tested.param.name; });

TEST(ScenarioTest, TooDeepNestingIsReported) {
    EXPECT_EQ(mistakesIn(std::string(5000, '[')), "file.json:1: not JSON: nested too deeply");
}

TEST(ScenarioTest, TimesCountFromTheStartOrFromThePreviousEvent) {
    const Scenario scenario("f", R"({"events": [
        {"do": "emit", "result": 1},
        {"do": "emit", "result": 1, "at": 200},
        {"do": "emit", "result": 1, "after": 50},
        {"do": "emit", "result": 1},
        {"do": "emit", "result": 1, "at": 250},
        {"do": "emit", "result": 1, "after": 1}]})");
    std::vector<long> times;
    for (const ScenarioEvent &event : scenario.events()) {
        times.push_back(static_cast<long>(event.due.count()));
    }
    EXPECT_THAT(times, ElementsAre(0, 200, 250, 250, 250, 251));
    EXPECT_EQ(scenario.events()[2].place, "f:4");
}

TEST(ScenarioTest, OmittedMembersOfASourceHaveDefaults) {
    const Scenario scenario("f", R"({"events": [], "tv": {"selected": "hdmi1", "sources": [
        {"uniqueKey": "hdmi1", "sourceType": 3, "detectedName": "Player", "powerState": 0}]}})");
    ASSERT_TRUE(scenario.tv());
    const Source &source = scenario.tv()->source("hdmi1");
    EXPECT_EQ(source.sourceType, 3);
    EXPECT_EQ(source.detectedName, "Player");
    EXPECT_EQ(source.powerState, 0);
    EXPECT_TRUE(source.connected);
    EXPECT_EQ(source.editName, "");
}

TEST(ScenarioTest, DefaultTvCanBeDescribedByAScenario) {
    EXPECT_EQ(mistakesIn(std::string("{\"events\": [], \"tv\": ") + defaultTv + "}"), "");
}

TEST(ScenarioTest, SchemaListsEveryFaultAndEveryCommand) {
    const Json::Value schema = *support::parseJson(scenarioSchema);
    for (const Json::Value &event : schema["definitions"]["event"]["oneOf"]) {
        if (event["properties"]["do"]["const"] == "fault") {
            EXPECT_EQ(wordsIn(event["properties"]["kind"]["enum"]), faultNames());
            EXPECT_EQ(wordsIn(event["properties"]["command"]["enum"]), Commands::names());
            return;
        }
    }
    FAIL() << "the schema has no faults";
}

}  // namespace emulated_tv
