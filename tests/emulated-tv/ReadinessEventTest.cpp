// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ReadinessEvent.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <thread>
#include <vector>

#include "Platform.h"
#include "TemporaryFolder.h"
#include "TvRoot.h"

namespace emulated_tv {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr auto eventName = "/tmp/some_event";

class ReadinessEventTest : public testing::Test {
 protected:
    TemporaryFolder m_root;
    ReadinessEvent m_event{m_root.path(), eventName};
};

TEST_F(ReadinessEventTest, WaitForASetEventReturnsAtOnceWithAnyTimeOut) {
    m_event.set();
    EXPECT_TRUE(m_event.wait(milliseconds(0)));
    EXPECT_TRUE(m_event.wait(seconds(20)));
}

TEST_F(ReadinessEventTest, SettingTwiceIsHarmless) {
    m_event.set();
    EXPECT_NO_THROW(m_event.set());
    EXPECT_TRUE(m_event.wait(milliseconds(0)));
}

TEST_F(ReadinessEventTest, ClearedEventIsNotSet) {
    m_event.set();
    m_event.clear();
    EXPECT_FALSE(m_event.wait(milliseconds(0)));
    EXPECT_NO_THROW(m_event.clear());
}

TEST_F(ReadinessEventTest, EventsAreDistinguishedByName) {
    ReadinessEvent(m_root.path(), "/tmp/another_event").set();
    EXPECT_FALSE(m_event.wait(milliseconds(0)));
}

TEST_F(ReadinessEventTest, WaitEndsWhenTheEventIsSet) {
    bool isSet = false;
    std::thread waiter([&] { isSet = m_event.wait(seconds(20)); });
    m_event.set();
    waiter.join();
    EXPECT_TRUE(isSet);
}

TEST_F(ReadinessEventTest, WaitEndsWhenItsOwnEventIsSetAfterAnother) {
    bool isSet = false;
    Clock::duration waited{};
    std::thread waiter([&] {
        const auto start = Clock::now();
        isSet = m_event.wait(seconds(20));
        waited = Clock::now() - start;
    });
    // wait() creates the folder, so it is waiting once the folder exists.
    while (!std::filesystem::exists(m_root.path() / "events")) {
        std::this_thread::yield();
    }
    ReadinessEvent(m_root.path(), "/tmp/another_event").set();
    m_event.set();
    waiter.join();
    EXPECT_TRUE(isSet);
    EXPECT_LT(waited, seconds(20));
}

TEST_F(ReadinessEventTest, ManyWaitersAllSeeTheEvent) {
    std::array<bool, 8> seen = {};
    std::vector<std::thread> waiters;
    waiters.reserve(seen.size());
    for (bool &each : seen) {
        waiters.emplace_back([&] { each = m_event.wait(seconds(20)); });
    }
    m_event.set();
    for (std::thread &waiter : waiters) {
        waiter.join();
    }
    for (const bool each : seen) {
        EXPECT_TRUE(each);
    }
}

TEST_F(ReadinessEventTest, TimeOutIsInMilliseconds) {
    const auto start = Clock::now();
    EXPECT_FALSE(m_event.wait(milliseconds(150)));
    const auto waited = Clock::now() - start;
    EXPECT_GE(waited, milliseconds(150));
    EXPECT_LT(waited, seconds(60)) << "150 of a larger unit are longer";
}

TEST_F(ReadinessEventTest, WaitFailsAtOnceWithoutARoot) {
    const ReadinessEvent event(m_root.path() / "missing", eventName);
    const auto start = Clock::now();
    EXPECT_FALSE(event.wait(seconds(100)));
    EXPECT_LT(Clock::now() - start, seconds(60));
    EXPECT_FALSE(std::filesystem::exists(m_root.path() / "missing"));
}

class FerrelWaitEventTest : public ReadinessEventTest {
 protected:
    void SetUp() override { setenv(tvRootVariable, m_root.path().c_str(), 1); }
    void TearDown() override { unsetenv(tvRootVariable); }
};

TEST_F(FerrelWaitEventTest, SetEventReturnsZero) {
    m_event.set();
    EXPECT_EQ(FerrelWaitEvent(eventName, 0), 0);
    EXPECT_EQ(FerrelWaitEvent(eventName, INT_MAX), 0);
}

TEST_F(FerrelWaitEventTest, TimeOutReturnsMinusOne) {
    EXPECT_EQ(FerrelWaitEvent(eventName, 0), -1);
    EXPECT_EQ(FerrelWaitEvent(eventName, 20), -1);
}

TEST_F(FerrelWaitEventTest, NegativeTimeOutCountsAsZero) {
    EXPECT_EQ(FerrelWaitEvent(eventName, -1), -1);
    EXPECT_EQ(FerrelWaitEvent(eventName, INT_MIN), -1);
    m_event.set();
    EXPECT_EQ(FerrelWaitEvent(eventName, -1), 0);
}

TEST_F(FerrelWaitEventTest, WithoutARootItFailsAtOnce) {
    unsetenv(tvRootVariable);
    const auto start = Clock::now();
    EXPECT_EQ(FerrelWaitEvent(eventName, 100000), -1);
    EXPECT_LT(Clock::now() - start, seconds(60));
}

TEST_F(FerrelWaitEventTest, NullNameFails) {
    EXPECT_EQ(FerrelWaitEvent(nullptr, 0), -1);
}

}  // namespace emulated_tv
