// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Exit of the process, and the loss of the bus, which must not terminate the process.
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <thread>

#include "ConnectionTest.h"

using testing::ContainsRegex;
using testing::ExitedWithCode;
using testing::HasSubstr;

namespace {

// Runs at exit, after the client was destroyed.
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

    // Prints, after the client was destroyed, what is left of it.
    static void showClient() {
        std::cerr << "endpoint: " << (ClientPeer::endpoint() != nullptr)
                  << ", subscribed: " << ClientPeer::isSubscribed()
                  << ", deleted: " << endpointsDeleted() << std::endl;
    }
};

TEST_F(ProcessExitTest, LostBusDoesNotEndTheProcess) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            bus.lose();
            std::cerr << "request: " << exchange() << std::endl;
            leave(7);
        },
        ExitedWithCode(7), HasSubstr("request: 0"));
}

TEST_F(ProcessExitTest, ExitUnsubscribesAndDeletesTheEndpoint) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            leave(0, showClient);
        },
        ExitedWithCode(0), HasSubstr("endpoint: 0, subscribed: 0, deleted: 1"));
}

TEST_F(ProcessExitTest, ExitWithoutAClientDoesNothing) {
    EXPECT_EXIT(
        { leave(0, [&] { std::cerr << "lines: " << platform.log().size() << std::endl; }); },
        ExitedWithCode(0), HasSubstr("lines: 0"));
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
            leave(7, showClient);
        },
        ExitedWithCode(7), HasSubstr("endpoint: 0, subscribed: 0, deleted: 0"));
}

TEST_F(ProcessExitTest, CallThatOutlivesTheClientAtExitStillSucceeds) {
    EXPECT_EXIT(
        {
            CSourceAPI::Get();
            service.hold();
            std::future<bool> call = std::async(std::launch::async, connectToThree);
            service.waitForCalls(1);
            leave(7, [&] {
                showClient();
                service.release();
                std::cerr << "call: " << call.get() << std::endl;
                showClient();
            });
        },
        ExitedWithCode(7),
        ContainsRegex("deleted: 0(.|\n)*call: 1(.|\n)*endpoint: 0, subscribed: 0, deleted: 1"));
}

}  // namespace
