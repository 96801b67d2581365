// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What happens when an application exits, or unloads the library, while something is under way.

#include "ChildProgram.h"
#include "ClientTest.h"

namespace {

class LeavingTest : public testing::Test {
 protected:
    ChildProgram leave(const char *moment) { return ChildProgram({LEAVING_PROGRAM, moment}); }

    void emitChanges(int count) {
        for (int number = 1; number <= count; ++number) {
            service.emitChange(R"({"return_data":[{"sourceType":)" + std::to_string(number) +
                               R"(}],"data":{"result":1}})");
        }
        // Answered by the daemon after it has passed the signals on.
        service.releaseName();
        service.ownName();
    }

    TestBus bus;
    FakeService service{bus};
};

TEST_F(LeavingTest, ExitDoesNotWaitForACallInFlight) {
    service.hold();
    ChildProgram program = leave("exit-during-call");
    EXPECT_EQ(program.readLine(), "ready");
    service.waitForCalls(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, ACallInFlightEndsSafelyAfterTheLibraryWasUnloaded) {
    service.hold();
    ChildProgram program = leave("unload-during-call");
    EXPECT_EQ(program.readLine(), "ready");
    service.waitForCalls(1);
    program.writeLine("unload");
    EXPECT_EQ(program.readLine(), "ready");
    service.release();
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, ACallbackMayExit) {
    ChildProgram program = leave("exit-in-callback");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, ACallbackMayUnloadTheLibrary) {
    ChildProgram program = leave("unload-in-callback");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, ExitDoesNotWaitForACallbackOnAnotherThread) {
    ChildProgram program = leave("exit-while-callback-runs");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, TheLibraryCanBeUnloadedWhileACallbackRuns) {
    ChildProgram program = leave("unload-while-callback-runs");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, ExitWithQueuedSignalsIsSafe) {
    ChildProgram program = leave("exit-with-queued-signals");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(100);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, QueuedSignalsAreDeliveredSafelyAfterUnloading) {
    ChildProgram program = leave("unload-with-queued-signals");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(100);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(LeavingTest, AnUnusedLibraryCanBeUnloaded) {
    ChildProgram program = leave("unload-unused");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
    EXPECT_TRUE(service.calls().empty());
}

TEST_F(LeavingTest, TheLibraryWorksWhenItIsLoadedAgain) {
    ChildProgram program = leave("load-again");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
    EXPECT_EQ(service.countOf("SourceConnect"), 2);
}

}  // namespace
