// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <csignal>
#include <memory>

#include "EmulatorFixture.h"
#include "FakeService.h"
#include "SourcectlProgram.h"

namespace {

using ::testing::StartsWith;

// A source in the list of the service.
std::string listed(const std::string &key, const std::string &name) {
    return R"({"sourceType":8,"editName":")" + name +
           R"(","detectedName":"","iconPath":"","uniqueKey":")" + key +
           R"(","connectionState":true,"powerState":1,"mbrActivityIndex":0,"settingMethod":0})";
}

// The text of the change signal.
std::string change(const std::string &sources, int result = 1) {
    return R"({"method":"SourceListChanged","return_data":)" + sources + R"(,"data":{"result":)" +
           std::to_string(result) + "}}";
}

const std::string disk = "[" + listed("disk", "Disk") + "]";
const std::string renamedDisk = "[" + listed("disk", "Films") + "]";
const std::string diskAndCamera =
    "[" + listed("disk", "Disk") + "," + listed("camera", "Eye") + "]";

class WatchTest : public ::testing::Test {
 protected:
    WatchTest() { service.replyTo("UtilGetSourceList", R"({"return_data":)" + disk + "}"); }

    // Starts sourcectl, and returns when it has read the list and printed its first line.
    ChildProgram &watch(const Arguments &options = {}) {
        Arguments arguments = {"watch"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        m_watch = std::make_unique<ChildProgram>(sourcectlWith(arguments), platform.environment());
        m_firstLine = m_watch->readLine();
        return *m_watch;
    }
    const std::string &firstLine() const { return m_firstLine; }

    PlatformFixture platform;
    TestBus bus;
    FakeService service{bus};

 private:
    std::unique_ptr<ChildProgram> m_watch;
    std::string m_firstLine;
};

TEST_F(WatchTest, PrintsEachChangeWhenItArrives) {
    ChildProgram &watching = watch();
    EXPECT_EQ(firstLine(), "watching 1 source");

    service.emitChange(change(diskAndCamera));
    EXPECT_EQ(watching.readLine(), "added    \"Eye\" (type 8, index 0, key camera)");
    service.emitChange(change(disk));
    EXPECT_EQ(watching.readLine(), "removed  \"Eye\" (type 8, index 0, key camera)");
    service.emitChange(change(renamedDisk));
    EXPECT_EQ(watching.readLine(),
              "changed  \"Films\" (type 8, index 0, key disk): name \"Disk\" → \"Films\"");
}

TEST_F(WatchTest, PrintsOneJsonDocumentOnEachLine) {
    ChildProgram &watching = watch({"--json"});
    const Json::Value sources = parsedJson(firstLine())["sources"];
    ASSERT_EQ(sources.size(), 1U);
    EXPECT_EQ(sources[0]["uniqueKey"], "disk");

    service.emitChange(change(diskAndCamera, 5));
    const Json::Value added = parsedJson(watching.readLine());
    EXPECT_EQ(added["result"], 5);
    ASSERT_EQ(added["added"].size(), 1U);
    EXPECT_EQ(added["added"][0]["uniqueKey"], "camera");
    EXPECT_EQ(added["removed"], Json::Value(Json::arrayValue));
    EXPECT_EQ(added["changed"], Json::Value(Json::arrayValue));
}

TEST_F(WatchTest, EndsAfterTheGivenNumberOfChanges) {
    ChildProgram &watching = watch({"--count", "2"});
    service.emitChange(change(diskAndCamera));
    service.emitChange(change(disk));
    service.emitChange(change(renamedDisk));
    const ProgramResult outcome = finish(watching);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "added    \"Eye\" (type 8, index 0, key camera)\n"
              "removed  \"Eye\" (type 8, index 0, key camera)\n");
}

TEST_F(WatchTest, IgnoresANotificationOfTheSameList) {
    ChildProgram &watching = watch({"--count", "1"});
    service.emitChange(change(disk));
    service.emitChange(change(renamedDisk));
    const ProgramResult outcome = finish(watching);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, StartsWith("changed"));
}

TEST_F(WatchTest, EndsAfterTheTimeout) {
    const ProgramResult outcome = finish(watch({"--timeout", "0"}));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(WatchTest, FailsIfTheTimeoutEndsBeforeTheLastChange) {
    expectFailure(finish(watch({"--count", "2", "--timeout", "0"})),
                  "only 0 of 2 changes arrived within 0 seconds");
}

TEST_F(WatchTest, EndsOnSigintAndSigterm) {
    for (const int signal : {SIGINT, SIGTERM}) {
        ChildProgram &watching = watch({"--count", "1"});
        watching.kill(signal);
        const ProgramResult outcome = finish(watching);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
    }
}

TEST_F(WatchTest, FailsWhenTheBusIsLost) {
    ChildProgram &watching = watch();
    bus.stop();
    expectFailure(finish(watching), "the connection to the system bus was lost");
}

TEST_F(WatchTest, FailsWhenTheListCannotBeRead) {
    ChildProgram &watching = watch();
    service.replyTo("UtilGetSourceList", R"({"dbus_result":"fail"})");
    service.emitChange(change("\"\""));
    expectFailure(finish(watching),
                  "cannot read the source list: the source service refused it, or part of it is "
                  "unreadable");
}

TEST_F(WatchTest, EndsAtTheNextChangeWhenItsOutputIsClosed) {
    ChildProgram watching({"/bin/sh", "-c", "\"$0\" watch | head -n 1; echo done", SOURCECTL},
                          platform.environment());
    EXPECT_EQ(watching.readLine(), "watching 1 source");
    service.emitChange(change(renamedDisk));
    EXPECT_EQ(watching.readLine(), "done");
}

}  // namespace
