// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The deadlines of timed waits, for any reading of the clock and any time-out.
#include <gmock/gmock.h>

#include <climits>
#include <future>
#include <mutex>

#include "GLibSpy.h"
#include "SourceApiPeer.h"
#include "Threads.h"

namespace {

// 2^32 microseconds have passed on a machine that has been up for 71.6 minutes.
constexpr gint64 clockBeyond32Bits = gint64{1} << 33;

class DeadlineTest : public testing::Test {
 protected:
    DeadlineTest() {
        semaphore.Create(0);
        glib.advanceClock(clockBeyond32Bits);
        glib.watch();
    }
    ~DeadlineTest() override {
        glib.onClockReading(nullptr);
        glib.replaceTimedWaits(nullptr, nullptr);
        glib.advanceClock(0);
        semaphore.Destroy();
    }

    // The only timed wait of a Try() that fails. It returns without waiting.
    GLibSpy::TimedWait waitOf(unsigned long timeout) {
        glib.replaceTimedWaits(peerOf(semaphore).condition, [](GMutex *) { return FALSE; });
        EXPECT_EQ(semaphore.Try(timeout), 0);
        const std::vector<GLibSpy::TimedWait> waits = glib.timedWaits();
        EXPECT_EQ(waits.size(), 1U);
        return waits.empty() ? GLibSpy::TimedWait() : waits.front();
    }

    GLibSpy &glib = GLibSpy::get();
    SourceTCSemaphore semaphore;
};

TEST_F(DeadlineTest, IsTheClockPlusTheTimeout) {
    const GLibSpy::TimedWait wait = waitOf(1000);
    EXPECT_GT(wait.now, clockBeyond32Bits);
    EXPECT_EQ(wait.deadline, wait.now + 1000);
}

TEST_F(DeadlineTest, OfTheLargestTimeoutIsTheSumOfUnsigned64BitNumbers) {
    constexpr unsigned long longest = ULONG_MAX - 1;
    const GLibSpy::TimedWait wait = waitOf(longest);
    EXPECT_EQ(static_cast<guint64>(wait.deadline), static_cast<guint64>(wait.now) + longest);
}

TEST_F(DeadlineTest, IsNotPastBeforeTheTimeIsUp) {
    std::promise<void> waiting;
    std::once_flag first;
    glib.onClockReading([&] { std::call_once(first, [&] { waiting.set_value(); }); });
    auto trying = onThread([&] { return semaphore.Try(waitLimit * 1000UL); });
    ASSERT_TRUE(ends(waiting.get_future()));
    EXPECT_TRUE(staysBlocked(trying));
    semaphore.Give();
    EXPECT_EQ(trying.get(), 1);
}

TEST_F(DeadlineTest, ANegativeCountIsWaitedForAndStays) {
    SourceTCSemaphore owing;
    owing.Create(-1);
    EXPECT_EQ(owing.Try(0), 0);
    EXPECT_EQ(peerOf(owing).count, -1);
    owing.Destroy();
}

}  // namespace
