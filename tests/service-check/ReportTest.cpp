// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The report as text and JSON, the reasons for skipped checks, and the exit codes.
#include <gmock/gmock.h>

#include <csignal>

#include "Check.h"
#include "ConformingService.h"
#include "ServiceCheckProgram.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class ReportTest : public ::testing::Test {
 protected:
    // The record of one check in the JSON report of a run with these arguments.
    static Json::Value recordOf(const std::string &id, Arguments arguments) {
        arguments.insert(arguments.end(), {"--json", "--timeout", "20000"});
        const ProgramResult result = serviceCheck(arguments);
        const Json::Value report = parsedJson(result.output);
        for (const Json::Value &check : report["checks"]) {
            if (check["id"] == id) {
                return check;
            }
        }
        ADD_FAILURE() << id << " is not in " << result.output;
        return Json::Value();
    }

    TestBus bus;
};

TEST_F(ReportTest, IsALineForEachCheckAndASummary) {
    const ConformingService service(bus);
    const ProgramResult result = serviceCheck({"--timeout", "20000"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output,
                StartsWith("passed  plain-answer           SendMessage replies with the signature "
                           "(suss) or (sussa(y)) (seen: a body (suss))\n"));
    EXPECT_THAT(result.output, HasSubstr("\nskipped restart-signal "));
    EXPECT_THAT(result.output, EndsWith("\n33 passed, 0 failed, 7 skipped\n"));
}

TEST_F(ReportTest, OfAFailedCheckContainsWhatWasExpectedAndSeen) {
    const ConformingService service(bus, "connect-refusal");
    const ProgramResult result = serviceCheck({"--timeout", "20000"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(
        result.output,
        HasSubstr("\nfailed  connect-refusal        SourceConnect of an unknown source returns "
                  "false and is not an error (expected: \"return_data\" as false; seen: "
                  "{\"return_data\":true})\n"));
    EXPECT_THAT(result.output, EndsWith("\n32 passed, 1 failed, 7 skipped\n"));
}

TEST_F(ReportTest, AsJsonHasTheSameContent) {
    const ConformingService service(bus, "usb-refusal");
    const Json::Value report = parsedJson(serviceCheck({"--json", "--timeout", "20000"}).output);
    EXPECT_EQ(report["checks"].size(), service_check::allChecks().size());
    EXPECT_EQ(report["summary"], parsedJson(R"({"passed": 32, "failed": 1, "skipped": 7})"));
    EXPECT_EQ(report["checks"][4], parsedJson(R"({
        "id": "list-answer", "outcome": "passed", "seen": "an array of 3",
        "requirement": "UtilGetSourceList returns the list"})"));
}

TEST_F(ReportTest, ASourceWithAUsersNameIsRenamedIfThereIsOne) {
    const ConformingService service(bus);
    EXPECT_EQ(recordOf("rename-answer", {})["seen"], "\"av\" was renamed and its name restored");
    EXPECT_EQ(recordOf("rename-answer", {"--source", "usb"})["seen"],
              "\"usb\" was renamed and its name restored");
}

TEST_F(ReportTest, WithoutASourceThatAcceptsANameSkipsTheChecksOfChanges) {
    ConformingService service(bus);
    service.refuseRenaming();
    const ProgramResult result = serviceCheck({"--json", "--timeout", "20000"});
    EXPECT_EQ(result.exitCode, 0);
    auto ids = idsByOutcome(parsedJson(result.output));
    EXPECT_THAT(ids["failed"], IsEmpty());
    EXPECT_THAT(ids["skipped"], Contains("rename-answer"));
    EXPECT_THAT(ids["skipped"], Contains("change-signal-list"));
    EXPECT_EQ(recordOf("rename-answer", {})["reason"], "no source accepts a new name");
    EXPECT_EQ(recordOf("rename-answer", {"--source", "unknown"})["reason"],
              "the list has no such source");
}

TEST_F(ReportTest, ContainsTheNameThatASourceLost) {
    ConformingService service(bus);
    service.acceptOneRenameOnly();
    const Json::Value record = recordOf("rename-answer", {});
    EXPECT_EQ(record["outcome"], "failed");
    EXPECT_EQ(record["expected"], R"(the name of "av" restored to "B\u00e4r & S\u00f6hne")");
    EXPECT_THAT(record["seen"].asString(), HasSubstr("Pr%C3%BCfung"));
}

TEST_F(ReportTest, ExistingIconsAreNotChanged) {
    ConformingService service(bus);
    service.setIcons();
    EXPECT_EQ(recordOf("set-icons-answer", {})["reason"], "every source has icons already");
    EXPECT_EQ(service.endpoint().countOf("UtilSetCustomIconPath"), 1);  // for an unknown source
}

TEST_F(ReportTest, NoReplyIsNotAnErrorReply) {
    ConformingService service(bus);
    service.ignoreOtherSignatures();
    const ProgramResult result = serviceCheck({"--json", "--timeout", "10000"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(idsByOutcome(parsedJson(result.output))["failed"], ElementsAre("other-body"));
}

TEST_F(ReportTest, ContainsTheExitCodeOfAFailedRestartCommand) {
    const ConformingService service(bus);
    EXPECT_EQ(recordOf("restart-name", {"--restart", "echo no; exit 7"})["seen"],
              "its owner did not change; the command: \"Child process exited with code 7\"");
}

TEST_F(ReportTest, AnInterruptWaitsUntilTheNameIsRestored) {
    ConformingService service(bus, "change-signal");
    const Json::Value list = service.list();
    ChildProgram program({SERVICE_CHECK, "--timeout", "10000"});
    FakeService &called = service.endpoint();
    for (std::size_t calls = 1; called.countOf("UtilSetSourceEditName") == 0; ++calls) {
        called.waitForCalls(calls);
        ASSERT_LT(calls, 100U);
    }
    program.kill(SIGINT);
    EXPECT_EQ(finish(program).exitCode, 128 + SIGINT);
    EXPECT_EQ(called.countOf("UtilSetSourceEditName"), 2);
    EXPECT_EQ(service.list(), list);
}

TEST_F(ReportTest, IsNotPrintedWithoutAService) {
    const ProgramResult result = serviceCheck({"--json", "--timeout", "20000"});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors,
              "service-check: the source service is not running on the system bus\n");
}

TEST_F(ReportTest, IsNotPrintedWithoutABus) {
    bus.stop();
    const ProgramResult result = serviceCheck({});
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors, StartsWith("service-check: the system bus cannot be reached: "));
}

TEST_F(ReportTest, EndsWithAnErrorWhenTheBusIsLost) {
    ConformingService service(bus);
    service.endpoint().hold();
    ChildProgram program({SERVICE_CHECK, "--timeout", "20000"});
    service.endpoint().waitForCalls(1);
    bus.stop();
    const ProgramResult result = finish(program);
    EXPECT_EQ(result.exitCode, 3);
    EXPECT_EQ(result.errors, "service-check: the connection to the system bus was lost\n");
}

}  // namespace
