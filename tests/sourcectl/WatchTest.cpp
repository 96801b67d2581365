// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <csignal>
#include <memory>

#include "FakeService.h"
#include "FakeTv.h"
#include "Programs.h"

namespace {

using ::testing::StartsWith;

// A source as the service lists it.
std::string listed(const std::string &key, const std::string &name) {
    return R"({"sourceType":8,"editName":")" + name +
           R"(","detectedName":"","iconPath":"","uniqueKey":")" + key +
           R"(","connectionState":true,"powerState":1,"mbrActivityIndex":0,"settingMethod":0})";
}

// The change signal's content.
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
    WatchTest() {
        tv.setNames("[]");
        service.replyTo("UtilGetSourceList", R"({"return_data":)" + disk + "}");
    }

    // Runs until the end of the test at the latest; the list has been read when this returns.
    ChildProgram &watch(const Words &options = {}) {
        Words arguments = {"watch"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        m_watch = std::make_unique<ChildProgram>(sourcectlWith(arguments), tv.environment());
        m_beginning = m_watch->readLine();
        return *m_watch;
    }
    const std::string &beginning() const { return m_beginning; }

    FakeTv tv;
    TestBus bus;
    FakeService service{bus};

 private:
    std::unique_ptr<ChildProgram> m_watch;
    std::string m_beginning;
};

TEST_F(WatchTest, EachChangeIsToldAsItArrives) {
    ChildProgram &watching = watch();
    EXPECT_EQ(beginning(), "watching 1 source");

    service.emitChange(change(diskAndCamera));
    EXPECT_EQ(watching.readLine(), "added    \"Eye\" (type 8, index 0, key camera)");
    service.emitChange(change(disk));
    EXPECT_EQ(watching.readLine(), "removed  \"Eye\" (type 8, index 0, key camera)");
    service.emitChange(change(renamedDisk));
    EXPECT_EQ(watching.readLine(),
              "changed  \"Films\" (type 8, index 0, key disk): name \"Disk\" → \"Films\"");
}

TEST_F(WatchTest, ProgramsReadOneDocumentALine) {
    ChildProgram &watching = watch({"--json"});
    const Json::Value sources = parsedJson(beginning())["sources"];
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

TEST_F(WatchTest, EndsAfterTheChangesAskedFor) {
    ChildProgram &watching = watch({"--count", "2"});
    service.emitChange(change(diskAndCamera));
    service.emitChange(change(disk));
    service.emitChange(change(renamedDisk));
    const Outcome outcome = finish(watching);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "added    \"Eye\" (type 8, index 0, key camera)\n"
              "removed  \"Eye\" (type 8, index 0, key camera)\n");
}

TEST_F(WatchTest, NotificationOfTheSameListIsPassedOver) {
    ChildProgram &watching = watch({"--count", "1"});
    service.emitChange(change(disk));
    service.emitChange(change(renamedDisk));
    const Outcome outcome = finish(watching);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, StartsWith("changed"));
}

TEST_F(WatchTest, TimeoutEndsIt) {
    const Outcome outcome = finish(watch({"--timeout", "0"}));
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(WatchTest, TooFewChangesWithinTheTimeoutAreAFailure) {
    expectFailure(finish(watch({"--count", "2", "--timeout", "0"})),
                  "only 0 of 2 changes arrived within 0 seconds");
}

TEST_F(WatchTest, SignalsEndIt) {
    for (const int signal : {SIGINT, SIGTERM}) {
        ChildProgram &watching = watch({"--count", "1"});
        watching.kill(signal);
        const Outcome outcome = finish(watching);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.errors, "");
    }
}

TEST_F(WatchTest, LossOfTheBusIsTold) {
    ChildProgram &watching = watch();
    bus.stop();
    expectFailure(finish(watching), "the connection to the system bus was lost");
}

TEST_F(WatchTest, LossOfTheListIsTold) {
    ChildProgram &watching = watch();
    service.replyTo("UtilGetSourceList", R"({"dbus_result":"fail"})");
    service.emitChange(change("\"\""));
    expectFailure(finish(watching),
                  "cannot read the source list: the source service refused it, or part of it is "
                  "unreadable");
}

TEST_F(WatchTest, ReaderThatLeavesEndsItAtTheNextChange) {
    ChildProgram watching({"/bin/sh", "-c", "\"$0\" watch | head -n 1; echo done", SOURCECTL},
                          tv.environment());
    EXPECT_EQ(watching.readLine(), "watching 1 source");
    service.emitChange(change(renamedDisk));
    EXPECT_EQ(watching.readLine(), "done");
}

}  // namespace
