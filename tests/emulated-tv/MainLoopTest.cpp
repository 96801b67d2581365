// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "MainLoop.h"

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "Timer.h"

using std::chrono::milliseconds;
using std::chrono::minutes;

TEST(MainLoopTest, IterationEndsAtOnceIfTheConditionHolds) {
    EXPECT_TRUE(support::iterateUntil([] { return true; }, milliseconds(0)));
}

TEST(MainLoopTest, IterationEndsWhenAnEventMakesTheConditionTrue) {
    bool hasHappened = false;
    support::Timer timer;
    timer.start(milliseconds(1), [&hasHappened] { hasHappened = true; });
    EXPECT_TRUE(support::iterateUntil([&hasHappened] { return hasHappened; }, minutes(1)));
}

TEST(MainLoopTest, IterationEndsAtTheLimit) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(support::iterateUntil([] { return false; }, milliseconds(20)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20));
}

TEST(MainLoopTest, LimitIsCancelledWithTheIteration) {
    EXPECT_TRUE(support::iterateUntil([] { return true; }, milliseconds(0)));
    EXPECT_FALSE(g_main_context_pending(nullptr));
}

TEST(MainLoopTest, SignalIsDeliveredWithItsOriginEvenIfItIsIgnored) {
    sigset_t maskBefore;
    pthread_sigmask(SIG_SETMASK, nullptr, &maskBefore);
    std::vector<signalfd_siginfo> delivered;
    const support::SignalWatch watch(
        {SIGUSR1, SIGUSR2}, [&](const signalfd_siginfo &signal) { delivered.push_back(signal); });
    std::signal(SIGUSR2, SIG_IGN);
    // Sent to this thread, since other threads may not have blocked them.
    raise(SIGUSR1);
    raise(SIGUSR2);
    EXPECT_TRUE(support::iterateUntil([&delivered] { return delivered.size() == 2; }, minutes(1)));
    for (const signalfd_siginfo &signal : delivered) {
        EXPECT_EQ(signal.ssi_code, SI_TKILL);
        EXPECT_EQ(static_cast<pid_t>(signal.ssi_pid), getpid());
    }
    EXPECT_NE(delivered.front().ssi_signo, delivered.back().ssi_signo);
    std::signal(SIGUSR2, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &maskBefore, nullptr);
}
