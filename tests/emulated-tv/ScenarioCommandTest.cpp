// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <chrono>

#include "EmulatorTest.h"
#include "JsonText.h"

namespace emulated_tv {

using testing::HasSubstr;
using testing::StartsWith;

class ScenarioCommandTest : public EmulatorTest {
 protected:
    std::filesystem::path file(const std::string &text) const {
        replaceFile(scratch() / "scenario.json", text);
        return scratch() / "scenario.json";
    }
    static std::vector<std::string> run(const std::filesystem::path &scenario,
                                        const std::string &script) {
        return emulator({"run", "--scenario", scenario, "--", "sh", "-c", script});
    }
};

TEST_F(ScenarioCommandTest, MistakesAreReportedBeforeAnythingStarts) {
    const auto scenario = file("{\"events\": [\n{\"do\": \"plug\"},\n{\"do\": \"jump\"}]}");
    Program tv(run(scenario, "echo started"), environment());
    EXPECT_EQ(tv.exitCode(), 2);
    EXPECT_EQ(tv.output(), "");
    EXPECT_THAT(tv.errors(), StartsWith(scenario.string() +
                                        ":2: \"source\" is missing in an "
                                        "element of \"events\"\n" +
                                        scenario.string() + ":3: \"do\" must be one of"));
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(ScenarioCommandTest, MissingFileIsReported) {
    Program tv(run(scratch() / "none.json", "echo started"), environment());
    EXPECT_EQ(tv.exitCode(), 2);
    EXPECT_EQ(tv.output(), "");
    EXPECT_EQ(tv.errors(), "cannot read " + (scratch() / "none.json").string() + "\n");
}

TEST_F(ScenarioCommandTest, EventsHappenWhileTheCommandRunsAndNotBeforeTheirTime) {
    const auto start = std::chrono::steady_clock::now();
    Program tv(run(file(R"({"events": [{"at": 100, "do": "plug", "source": "usb-x"}]})"),
                   std::string("until ") + TV_EMULATOR + " list | grep usb-x; do :; done"),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_THAT(tv.output(), HasSubstr("usb-x"));
}

TEST_F(ScenarioCommandTest, TvHasTheSourcesThatTheScenarioDescribes) {
    Program tv(run(file(R"({"tv": {"selected": "a", "sources": [
                               {"uniqueKey": "a", "sourceType": 3}]}, "events": []})"),
                   std::string(TV_EMULATOR) + " list | tail -n +2"),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    EXPECT_THAT(tv.output(), testing::ContainsRegex("^[*] +a +3 +0 +HDMI 1 +on\n$"));
}

TEST_F(ScenarioCommandTest, EventsDueAfterTheEndOfTheTvAreIgnored) {
    Program tv(
        run(file(R"({"events": [{"at": 60000, "do": "plug", "source": "usb-x"}]})"), "exit 3"),
        environment());
    EXPECT_EQ(tv.exitCode(), 3);
    EXPECT_EQ(tv.output() + tv.errors(), "");
    EXPECT_TRUE(noRootIsLeft());
}

TEST_F(ScenarioCommandTest, WithoutACommandTimesCountFromTheStartOfTheTv) {
    const auto scenario = file(R"({"events": [{"do": "plug", "source": "usb-x"}]})");
    Program tv(emulator({"run", "--scenario", scenario, "--root", scratch() / "root"}),
               environment());
    ASSERT_TRUE(tv.waitForOutput("turns it off"));
    Program list({"sh", "-c",
                  std::string("until ") + TV_EMULATOR + " list --root " +
                      (scratch() / "root").string() + " | grep usb-x; do :; done"},
                 environment());
    EXPECT_EQ(list.exitCode(), 0);
}

TEST_F(ScenarioCommandTest, ScenarioCanBeReadFromAPipe) {
    Program tv({"sh", "-c",
                std::string("echo '{\"events\": []}' | ") + TV_EMULATOR +
                    " run --scenario /dev/stdin -- true"},
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
}

TEST_F(ScenarioCommandTest, ExampleOfADyingServiceDoesWhatItDescribes) {
    Program tv(run(std::filesystem::path(SCENARIOS) / "service-dies.json",
                   std::string("tv=") + TV_EMULATOR +
                       "; until $tv list | grep 'hdmi2 .* on '; do :; done;"
                       // Refused until the service is back.
                       " until $tv fault flood --count 1 2>/dev/null; do :; done"),
               environment());
    EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
    EXPECT_EQ(tv.errors(), "");
}

TEST_F(ScenarioCommandTest, ExamplesHaveNoMistakes) {
    int examples = 0;
    for (const auto &entry : std::filesystem::directory_iterator(SCENARIOS)) {
        Program tv(run(entry.path(), "true"), environment());
        EXPECT_EQ(tv.exitCode(), 0) << tv.errors();
        ++examples;
    }
    EXPECT_GE(examples, 3);
}

}  // namespace emulated_tv
