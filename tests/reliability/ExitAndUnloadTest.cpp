// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// An application exits, or unloads the library, during a call or a callback.

#include "ChildProgram.h"
#include "ClientTest.h"

namespace {

class ExitAndUnloadTest : public testing::Test {
 protected:
    ChildProgram start(const char *scene) { return ChildProgram({EXIT_AND_UNLOAD_PROGRAM, scene}); }

    void emitChanges(int count) {
        for (int number = 1; number <= count; ++number) {
            service.emitChange(R"({"return_data":[{"sourceType":)" + std::to_string(number) +
                               R"(}],"data":{"result":1}})");
        }
        // The daemon replies to these calls after it has forwarded the signals.
        service.releaseName();
        service.ownName();
    }

    TestBus bus;
    FakeService service{bus};
};

TEST_F(ExitAndUnloadTest, ExitDoesNotWaitForACallInFlight) {
    service.hold();
    ChildProgram program = start("exit-during-call");
    EXPECT_EQ(program.readLine(), "ready");
    service.waitForCalls(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, ACallInFlightEndsSafelyAfterTheLibraryWasUnloaded) {
    service.hold();
    ChildProgram program = start("unload-during-call");
    EXPECT_EQ(program.readLine(), "ready");
    service.waitForCalls(1);
    program.writeLine("unload");
    EXPECT_EQ(program.readLine(), "ready");
    service.release();
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, ACallbackMayExit) {
    ChildProgram program = start("exit-in-callback");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, ACallbackMayUnloadTheLibrary) {
    ChildProgram program = start("unload-in-callback");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, ExitDoesNotWaitForACallbackOnAnotherThread) {
    ChildProgram program = start("exit-while-callback-runs");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, TheLibraryCanBeUnloadedWhileACallbackRuns) {
    ChildProgram program = start("unload-while-callback-runs");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(1);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, ExitWithQueuedSignalsIsSafe) {
    ChildProgram program = start("exit-with-queued-signals");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(100);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, QueuedSignalsAreDeliveredSafelyAfterUnloading) {
    ChildProgram program = start("unload-with-queued-signals");
    EXPECT_EQ(program.readLine(), "ready");
    emitChanges(100);
    program.writeLine("go");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
}

TEST_F(ExitAndUnloadTest, AnUnusedLibraryCanBeUnloaded) {
    ChildProgram program = start("unload-unused");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
    EXPECT_TRUE(service.calls().empty());
}

TEST_F(ExitAndUnloadTest, TheLibraryWorksWhenItIsLoadedAgain) {
    ChildProgram program = start("load-again");
    EXPECT_EQ(program.waitForExit(), 0) << program.errors();
    EXPECT_EQ(service.countOf("SourceConnect"), 2);
}

}  // namespace
