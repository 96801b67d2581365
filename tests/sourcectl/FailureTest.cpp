// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The error messages of sourcectl.
#include <gmock/gmock.h>

#include "EmulatorFixture.h"
#include "FakeService.h"
#include "SourcectlProgram.h"

namespace {

using ::testing::HasSubstr;

struct Request {
    Arguments arguments;
    std::string failure;
};

std::ostream &operator<<(std::ostream &stream, const Request &request) {
    return stream << request.arguments.front();
}

const std::vector<Request> requests = {
    {{"connect", "4"}, "cannot switch to source type 4 (HDMI 2)"},
    {{"connect", "99"}, "cannot switch to source type 99"},
    {{"run", "8", "disk"}, "cannot connect source type 8 (USB), key \"disk\""},
    {{"rename", "4", "Player"}, "cannot rename source type 4 (HDMI 2), index 0"},
    {{"device-type", "4", "7", "--index", "2"},
     "cannot set the device type of source type 4 (HDMI 2), index 2"},
    {{"detected", "4", "Player", "7"},
     "cannot set the detected name of source type 4 (HDMI 2), index 0"},
    {{"usb", "disk"}, "cannot read the USB device with key \"disk\""},
    {{"icon", "4", "--source", "a", "--focused", "b", "--unfocused", "c"},
     "cannot set the icons of source type 4 (HDMI 2), index 0"}};

const std::vector<Request> queries = {
    {{"list"}, "cannot read the source list"},
    {{"watch"}, "cannot read the source list"},
    {{"name", "4"}, "cannot read the name of source type 4 (HDMI 2), index 0"},
    {{"device-type", "4"}, "cannot read the device type of source type 4 (HDMI 2), index 0"},
    {{"icon", "4"}, "cannot read the icons of source type 4 (HDMI 2), index 0"}};

class UnreachableTest : public ::testing::TestWithParam<Request> {};

TEST_P(UnreachableTest, FailsWithoutAService) {
    const TestBus bus;
    expectFailure(sourcectl(GetParam().arguments),
                  GetParam().failure + ": the source service is not running on the system bus");
}

TEST_P(UnreachableTest, FailsWithoutABus) {
    const PlatformFixture platform;
    expectFailure(sourcectl(GetParam().arguments, {{"DBUS_SYSTEM_BUS_ADDRESS",
                                                    "unix:path=" + platform.root() + "/no-bus"}}),
                  GetParam().failure +
                      ": the system bus cannot be reached: Could not connect: No such file or "
                      "directory");
}

INSTANTIATE_TEST_SUITE_P(Request, UnreachableTest, ::testing::ValuesIn(requests));
INSTANTIATE_TEST_SUITE_P(Query, UnreachableTest, ::testing::ValuesIn(queries));

class RefusalTest : public ::testing::TestWithParam<Request> {};

TEST_P(RefusalTest, IsReported) {
    const TestBus bus;
    FakeService service(bus);
    service.reply(R"({"return_data":false})");
    expectFailure(sourcectl(GetParam().arguments),
                  GetParam().failure + ": the source service refused it");
}

TEST_P(RefusalTest, IsReportedWithoutAJsonDocument) {
    const TestBus bus;
    FakeService service(bus);
    service.reply(R"({"return_data":false})");
    Arguments arguments = GetParam().arguments;
    arguments.emplace_back("--json");
    expectFailure(sourcectl(arguments), GetParam().failure + ": the source service refused it");
}

INSTANTIATE_TEST_SUITE_P(Request, RefusalTest, ::testing::ValuesIn(requests));

class FailureTest : public ::testing::Test {
 protected:
    ProgramResult run(const Arguments &arguments) {
        return sourcectl(arguments, platform.environment());
    }

    const PlatformFixture platform;
    TestBus bus;
    FakeService service{bus};
};

TEST_F(FailureTest, ListThatTheServiceRefusesIsReported) {
    service.replyWithError("test.Error.Refused", "not today");
    expectFailure(run({"list"}),
                  "cannot read the source list: the source service refused it, or part of it is "
                  "unreadable");
}

TEST_F(FailureTest, EmptyListIsNotAFailure) {
    service.replyTo("UtilGetSourceList", R"({"return_data":[]})");
    const ProgramResult text = run({"list"});
    EXPECT_EQ(text.exitCode, 0);
    EXPECT_EQ(text.output, "no sources\n");
    EXPECT_EQ(run({"list", "--json"}).output, "[]\n");
}

TEST_F(FailureTest, UnknownSourceHasNoNameAndNoDeviceType) {
    expectFailure(run({"name", "99"}),
                  "cannot read the name of source type 99, index 0: none is known");
    expectFailure(run({"device-type", "4", "--index", "9"}),
                  "cannot read the device type of source type 4 (HDMI 2), index 9: none is known");
}

TEST_F(FailureTest, ValuesOfWrongTypesInTheSettingsStoreAreReported) {
    platform.setNames(R"([{"SourceType":"four"}])");
    for (const Arguments &arguments :
         {Arguments{"list"}, Arguments{"name", "4"}, Arguments{"connect", "4"}}) {
        expectFailure(run(arguments),
                      "the settings store holds values of wrong types: Value is not convertible "
                      "to Int.");
    }
}

TEST_F(FailureTest, UnknownOnScreenTextIsReported) {
    expectFailure(run({"osd", "99"}), "the platform knows no on-screen text for source type 99");
}

TEST_F(FailureTest, OnScreenTextNeedsNoBus) {
    bus.stop();
    EXPECT_EQ(run({"osd", "4"}).output, "HDMI 2\n");
}

TEST_F(FailureTest, FullStandardOutputIsReported) {
    expectFailure(runProgram({"/bin/sh", "-c", "\"$0\" osd 4 >/dev/full", SOURCECTL}),
                  "cannot write to standard output");
}

TEST_F(FailureTest, VerbosePrintsTheLogOnStandardError) {
    const ProgramResult quiet = run({"osd", "4"});
    const ProgramResult verbose = run({"osd", "4", "--verbose"});
    EXPECT_EQ(quiet.errors, "");
    EXPECT_THAT(verbose.errors, HasSubstr("GetSourceOSDText"));
    EXPECT_EQ(verbose.output, quiet.output);
}

TEST_F(FailureTest, LogIsNeverPrintedOnStandardOutput) {
    const ProgramResult outcome =
        sourcectl({"osd", "4", "--verbose"}, {{"G_MESSAGES_DEBUG", "all"}});
    EXPECT_EQ(outcome.output, "HDMI 2\n");
    EXPECT_THAT(outcome.errors, HasSubstr("GetSourceOSDText"));
}

TEST_F(FailureTest, ControlCharactersInNamesAreEscaped) {
    service.replyTo("UtilGetSourceList",
                    R"({"return_data":[{"sourceType":8,"editName":"","detectedName":"a%1B%5B2Jb%FF",
                        "iconPath":"","uniqueKey":"disk","connectionState":true,"powerState":1,
                        "mbrActivityIndex":0,"settingMethod":0}]})");
    const ProgramResult text = run({"list"});
    EXPECT_THAT(text.output, HasSubstr("a\\x1b[2Jb\xef\xbf\xbd"));
    EXPECT_EQ(text.exitCode, 0);
    const ProgramResult json = run({"list", "--json"});
    EXPECT_EQ(parsedJson(json.output)[0]["detectedName"], "a\x1b[2Jb\xef\xbf\xbd");
}

}  // namespace
