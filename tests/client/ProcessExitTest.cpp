// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The end of the process, and the loss of the bus, which must not end it.
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <string>
#include <thread>

#include "ConnectionTest.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::Not;

namespace {

// What runs at the exit of the process, after the client was destroyed.
std::function<void()> afterTheClient;

class ProcessExitTest : public ConnectionTest {
 protected:
    ProcessExitTest() {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        std::atexit([] {
            if (afterTheClient) {
                afterTheClient();
            }
        });
    }

    // Ends the process in the middle of the test. After the client was destroyed `last` runs, and
    // the bus daemon ends: the process whose exit is observed must not leave it behind.
    [[noreturn]] void leave(
        int code, const std::function<void()> &last = [] {}) {
        afterTheClient = [this, last] {
            last();
            platform.onLog(nullptr);
            bus.stop();
        };
        std::exit(code);
    }

    // Prints the log on the standard error from here on, where the end of a process is observed.
    void showLog() {
        platform.onLog([](const LogLine &line) { std::cerr << line << std::endl; });
    }
};

TEST_F(ProcessExitTest, LostBusDoesNotEndTheProcess) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            loseBus();
            std::cerr << "request: " << exchange() << std::endl;
            leave(7);
        },
        ExitedWithCode(7), HasSubstr("request: 0"));
}

TEST_F(ProcessExitTest, ExitUnsubscribesAndDeletesTheEndpoint) {
    const std::string expected =
        R"({4 SourceAPI.cpp ~CSourceAPI "CSourceAPI destructor"}
{4 SourceAPI.cpp m_CloseDbusConnection "Has subscribed for event :: [1]"}
{4 SourceAPI.cpp m_CloseDbusConnection "UNSubscribe signal callback"}
{4 SourceAPI.cpp m_UnSubscribeSignal "m_UnSubscribeSignal"}
{4 SourceTCServer.cpp UnSubscribeSignal "UnSubscribeSignal source_api()";
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            showLog();
            leave(0);
        },
        ExitedWithCode(0),
        AllOf(HasSubstr(expected), HasSubstr("{6 SourceTCHandler.cpp Destroy"),
              Not(HasSubstr("close source_api begin"))));
}

TEST_F(ProcessExitTest, ExitWithoutAnObjectLogsNothing) {
    EXPECT_EXIT(
        {
            showLog();
            leave(0);
        },
        ExitedWithCode(0), Not(HasSubstr("SourceAPI.cpp")));
}

TEST_F(ProcessExitTest, RegistrationsOutliveTheObject) {
    EXPECT_EXIT(
        {
            const auto print = [](int value, void *name) {
                std::cerr << static_cast<const char *>(name) << value << std::endl;
            };
            static char before[] = "before ";
            static char after[] = "after ";
            CSourceAPI::RegisterSourceAPICallback(print, before);
            leave(7, [&] {
                CSourceAPI::RegisterSourceAPICallback(print, after);
                ClientPeer::announce(5);
                CSourceAPI::UnregisterSourceAPICallback(before);
                ClientPeer::announce(6);
            });
        },
        ExitedWithCode(7), HasSubstr("before 5\nafter 5\nafter 6\n"));
}

TEST_F(ProcessExitTest, ThreadsMayRegisterUntilTheProcessHasEnded) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            std::thread([] {
                for (;;) {
                    CSourceAPI::RegisterSourceAPICallback([](int, void *) {}, nullptr);
                    CSourceAPI::UnregisterSourceAPICallback(nullptr);
                }
            }).detach();
            leave(7);
        },
        ExitedWithCode(7), "");
}

TEST_F(ProcessExitTest, ExitDuringACallDoesNotWaitForIt) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            service.hold();
            std::thread(connectToThree).detach();
            service.waitForCalls(1);
            showLog();
            leave(7);
        },
        ExitedWithCode(7),
        AllOf(HasSubstr("CSourceAPI destructor"), Not(HasSubstr("send ")),
              Not(HasSubstr("Destroy"))));
}

TEST_F(ProcessExitTest, CallThatOutlivesTheObjectAtExitStillEndsWell) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            service.hold();
            std::future<bool> call = std::async(std::launch::async, connectToThree);
            service.waitForCalls(1);
            showLog();
            leave(7, [&] {
                service.release();
                const bool done = call.get();
                std::cerr << "call ended: " << done << std::endl;
            });
        },
        ExitedWithCode(7),
        ContainsRegex("CSourceAPI destructor(.|\n)*Destroy(.|\n)*call ended: 1"));
}

}  // namespace
