// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What the check prints, what it leaves out and why, and how it ends.
#include <gmock/gmock.h>

#include <csignal>

#include "FaithfulService.h"
#include "Program.h"
#include "Promise.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class ReportTest : public ::testing::Test {
 protected:
    // The record of one promise in the report that such arguments give.
    static Json::Value recordOf(const std::string &id, Words arguments) {
        arguments.insert(arguments.end(), {"--json", "--timeout", "20000"});
        const Ended ended = serviceCheck(arguments);
        const Json::Value report = parsedJson(ended.output);
        for (const Json::Value &promise : report["promises"]) {
            if (promise["id"] == id) {
                return promise;
            }
        }
        ADD_FAILURE() << id << " is not in " << ended.output;
        return Json::Value();
    }

    TestBus bus;
};

TEST_F(ReportTest, IsALineForEachPromiseAndASummary) {
    const FaithfulService service(bus);
    const Ended ended = serviceCheck({"--timeout", "20000"});
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_EQ(ended.errors, "");
    EXPECT_THAT(ended.output,
                StartsWith("kept    plain-answer           SendMessage is answered with one of the "
                           "two bodies (seen: a body (suss))\n"));
    EXPECT_THAT(ended.output, HasSubstr("\nskipped restart-signal "));
    EXPECT_THAT(ended.output, EndsWith("\n33 kept, 0 broken, 7 skipped\n"));
}

TEST_F(ReportTest, OfABrokenPromiseTellsWhatWasExpectedAndSeen) {
    const FaithfulService service(bus, "connect-refusal");
    const Ended ended = serviceCheck({"--timeout", "20000"});
    EXPECT_EQ(ended.exitCode, 1);
    EXPECT_THAT(ended.output,
                HasSubstr("\nbroken  connect-refusal        SourceConnect of an unknown source is "
                          "refused, which is no error (expected: \"return_data\" as false; seen: "
                          "{\"return_data\":true})\n"));
    EXPECT_THAT(ended.output, EndsWith("\n32 kept, 1 broken, 7 skipped\n"));
}

TEST_F(ReportTest, ForProgramsHasTheSameContent) {
    const FaithfulService service(bus, "usb-refusal");
    const Json::Value report = parsedJson(serviceCheck({"--json", "--timeout", "20000"}).output);
    EXPECT_EQ(report["promises"].size(), allPromises().size());
    EXPECT_EQ(report["summary"], parsedJson(R"({"kept": 32, "broken": 1, "skipped": 7})"));
    EXPECT_EQ(report["promises"][4], parsedJson(R"({
        "id": "list-answer", "outcome": "kept", "seen": "an array of 3",
        "promise": "UtilGetSourceList is answered with the list"})"));
}

TEST_F(ReportTest, ARenamedSourceThatHasNoNameByTheUserIsTheLastChoice) {
    const FaithfulService service(bus);
    EXPECT_EQ(recordOf("rename-answer", {})["seen"], "\"av\" was renamed and has its name back");
    EXPECT_EQ(recordOf("rename-answer", {"--source", "usb"})["seen"],
              "\"usb\" was renamed and has its name back");
}

TEST_F(ReportTest, WithoutASourceThatTakesANameChangesAreSkipped) {
    FaithfulService service(bus);
    service.refuseNames();
    const Ended ended = serviceCheck({"--json", "--timeout", "20000"});
    EXPECT_EQ(ended.exitCode, 0);
    auto ids = idsByOutcome(parsedJson(ended.output));
    EXPECT_THAT(ids["broken"], IsEmpty());
    EXPECT_THAT(ids["skipped"], Contains("rename-answer"));
    EXPECT_THAT(ids["skipped"], Contains("change-signal-list"));
    EXPECT_EQ(recordOf("rename-answer", {})["reason"], "no source takes a name");
    EXPECT_EQ(recordOf("rename-answer", {"--source", "nobody"})["reason"],
              "the list has no such source");
}

TEST_F(ReportTest, ASourceThatLostItsNameIsTold) {
    FaithfulService service(bus);
    service.takeOneNameOnly();
    const Json::Value record = recordOf("rename-answer", {});
    EXPECT_EQ(record["outcome"], "broken");
    EXPECT_EQ(record["expected"],
              R"("av" to take back its name "B\u00e4r & S\u00f6hne", which it has lost)");
    EXPECT_THAT(record["seen"].asString(), HasSubstr("Pr%C3%BCfung"));
}

TEST_F(ReportTest, IconsThatAreThereAreLeftAlone) {
    FaithfulService service(bus);
    service.giveIcons();
    EXPECT_EQ(recordOf("set-icons-answer", {})["reason"], "every source has icons already");
    EXPECT_EQ(service.onTheBus().countOf("UtilSetCustomIconPath"), 1);  // of an unknown source
}

TEST_F(ReportTest, SilenceIsNoError) {
    FaithfulService service(bus);
    service.leaveOtherBodiesUnanswered();
    const Ended ended = serviceCheck({"--json", "--timeout", "10000"});
    EXPECT_EQ(ended.exitCode, 1);
    EXPECT_THAT(idsByOutcome(parsedJson(ended.output))["broken"], ElementsAre("other-body"));
}

TEST_F(ReportTest, ACommandThatDoesNotRestartTheServiceIsNamed) {
    const FaithfulService service(bus);
    EXPECT_EQ(recordOf("restart-name", {"--restart", "echo no; exit 7"})["seen"],
              "it kept its owner; the command: \"Child process exited with code 7\"");
}

TEST_F(ReportTest, AnInterruptWaitsUntilTheSourceHasItsNameBack) {
    FaithfulService service(bus, "change-signal");
    const Json::Value list = service.list();
    ChildProgram program({SERVICE_CHECK, "--timeout", "10000"});
    FakeService &called = service.onTheBus();
    for (std::size_t calls = 1; called.countOf("UtilSetSourceEditName") == 0; ++calls) {
        called.waitForCalls(calls);
        ASSERT_LT(calls, 100U);
    }
    program.kill(SIGINT);
    EXPECT_EQ(finish(program).exitCode, 128 + SIGINT);
    EXPECT_EQ(called.countOf("UtilSetSourceEditName"), 2);
    EXPECT_EQ(service.list(), list);
}

TEST_F(ReportTest, WithoutAServiceThereIsNone) {
    const Ended ended = serviceCheck({"--json", "--timeout", "20000"});
    EXPECT_EQ(ended.exitCode, 3);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "service-check: the source service is not running on the system bus\n");
}

TEST_F(ReportTest, WithoutABusThereIsNone) {
    bus.stop();
    const Ended ended = serviceCheck({});
    EXPECT_EQ(ended.exitCode, 3);
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, StartsWith("service-check: the system bus cannot be reached: "));
}

TEST_F(ReportTest, ABusThatGoesAwayEndsIt) {
    FaithfulService service(bus);
    service.onTheBus().hold();
    ChildProgram program({SERVICE_CHECK, "--timeout", "20000"});
    service.onTheBus().waitForCalls(1);
    bus.stop();
    const Ended ended = finish(program);
    EXPECT_EQ(ended.exitCode, 3);
    EXPECT_EQ(ended.errors, "service-check: the system bus went away\n");
}

}  // namespace
