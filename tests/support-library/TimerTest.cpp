// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Timer.h"

#include <gtest/gtest.h>

#include <memory>

#include "MainLoop.h"

using std::chrono::milliseconds;

namespace {

// Iterates until a timer of the given delay has fired: a timer that was started earlier with a
// shorter delay would have fired by then.
void iterateFor(milliseconds delay) {
    bool isOver = false;
    support::Timer timer;
    timer.start(delay, [&isOver] { isOver = true; });
    ASSERT_TRUE(support::iterateUntil([&isOver] { return isOver; }, std::chrono::minutes(1)));
}

}  // namespace

TEST(TimerTest, RunsItsActionOnceAndNotBeforeTheDelay) {
    const auto start = std::chrono::steady_clock::now();
    int runs = 0;
    support::Timer timer;
    timer.start(milliseconds(20), [&runs] { ++runs; });
    ASSERT_TRUE(support::iterateUntil([&runs] { return runs > 0; }, std::chrono::minutes(1)));
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(19));
    iterateFor(milliseconds(40));
    EXPECT_EQ(runs, 1);
}

TEST(TimerTest, StoppedOrDestroyedTimerDoesNotRunItsAction) {
    int runs = 0;
    support::Timer stopped;
    stopped.start(milliseconds(1), [&runs] { ++runs; });
    stopped.stop();
    {
        support::Timer destroyed;
        destroyed.start(milliseconds(1), [&runs] { ++runs; });
    }
    iterateFor(milliseconds(20));
    EXPECT_EQ(runs, 0);
}

TEST(TimerTest, StartingAgainReplacesTheAction) {
    int first = 0;
    int second = 0;
    support::Timer timer;
    timer.start(milliseconds(1), [&first] { ++first; });
    timer.start(milliseconds(1), [&second] { ++second; });
    iterateFor(milliseconds(20));
    EXPECT_EQ(first, 0);
    EXPECT_EQ(second, 1);
}

TEST(TimerTest, ActionMayRestartTheTimer) {
    int runs = 0;
    support::Timer timer;
    timer.start(milliseconds(1), [&] {
        ++runs;
        timer.start(milliseconds(1), [&runs] { ++runs; });
    });
    EXPECT_TRUE(support::iterateUntil([&runs] { return runs == 2; }, std::chrono::minutes(1)));
}

TEST(TimerTest, ActionMayDestroyTheTimer) {
    auto timer = std::make_unique<support::Timer>();
    timer->start(milliseconds(1), [&timer] { timer.reset(); });
    EXPECT_TRUE(support::iterateUntil([&timer] { return !timer; }, std::chrono::minutes(1)));
}
