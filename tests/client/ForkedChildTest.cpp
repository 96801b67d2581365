// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A process that was forked from one that uses the library. It has the forking thread only, so
// locks of other threads stay locked there, and GLib's thread for the bus does not exist.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>

#include "ConnectionTest.h"
#include "Threads.h"

using testing::IsEmpty;

namespace {

const pid_t testProcess = getpid();

}  // namespace

// Asked by the leak checker at exit. In a forked child it would report what is referred to from the
// stacks of the parent's other threads, which it cannot read there.
extern "C" int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return getpid() != testProcess ? 1 : 0;
}

namespace {

constexpr unsigned int secondsUntilAChildIsStuck = waitLimit / 1000;

class ForkedChildTest : public ConnectionTest {
 protected:
    ForkedChildTest() { CSourceAPI::Get(); }

    // The exit status of a child that runs `work`; -1 if a signal killed it, as happens to a child
    // that hangs.
    static int statusOfChild(const std::function<void()> &work) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            alarm(secondsUntilAChildIsStuck);
            work();
            _exit(99);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static int failures() {
        return testing::UnitTest::GetInstance()->current_test_info()->result()->Failed() ? 1 : 0;
    }
};

TEST_F(ForkedChildTest, ExitsWhileAThreadOfItsParentHoldsTheEndpointsLock) {
    const LockHolder holder(peerOf(*ClientPeer::endpoint()).mutex);
    EXPECT_EQ(statusOfChild([] { std::exit(5); }), 5);
}

TEST_F(ForkedChildTest, ExitLeavesTheClientAlone) {
    EXPECT_EQ(statusOfChild([this] {
                  platform.onLog([](const LogLine &) { _exit(6); });
                  std::exit(5);
              }),
              5)
        << "the library has logged";
}

TEST_F(ForkedChildTest, RequestFailsAtOnce) {
    const LockHolder holder(peerOf(*ClientPeer::endpoint()).mutex);
    EXPECT_EQ(statusOfChild([] {
                  EXPECT_FALSE(CSourceAPI::Get()->Connect(3));
                  _exit(failures());
              }),
              0);
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(ForkedChildTest, FetchOfTheListDoesNotWaitForTheService) {
    EXPECT_EQ(statusOfChild([this] {
                  EXPECT_EQ(CSourceAPI::Get()->GetSourceList(), nullptr);
                  EXPECT_THAT(platform.waits(), IsEmpty());
                  _exit(failures());
              }),
              0);
}

TEST_F(ForkedChildTest, ParentKeepsWorking) {
    EXPECT_EQ(statusOfChild([] { std::exit(CSourceAPI::Get()->Connect(3) ? 1 : 0); }), 0);
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ForkedChildTest, ExitsWhileItsParentMakesRequests) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a child keeps the locks that threads of its parent hold in the sanitizer";
#endif
    constexpr int children = 50;
    std::atomic<bool> stop{false};
    const auto requestUntilStopped = [&] {
        while (!stop) {
            SourceTCMessage request;
            SourceTCMessage reply;
            ClientPeer::send(request, reply);
        }
    };
    const auto one = onThread(requestUntilStopped);
    const auto other = onThread(requestUntilStopped);
    int exited = 0;
    for (int child = 0; child < children; ++child) {
        exited += statusOfChild([] { std::exit(5); }) == 5 ? 1 : 0;
    }
    stop = true;
    EXPECT_EQ(exited, children);
}

}  // namespace
