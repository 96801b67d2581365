// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Scenario.h"

#include <gmock/gmock.h>

#include "TvOnBusTest.h"

namespace emulated_tv {

using std::chrono::milliseconds;
using testing::ElementsAre;
using Clock = std::chrono::steady_clock;

class PlayerTest : public TvOnBusTest {
 protected:
    std::vector<int> results() const {
        std::vector<int> results;
        for (const Signal &signal : m_signals) {
            results.push_back(signal.message()["data"]["result"].asInt());
        }
        return results;
    }
};

TEST_F(PlayerTest, EventsHappenInOrder) {
    Player player(Scenario("f", R"({"events": [
                      {"do": "plug", "source": "usb-x", "name": "X", "deviceType": 9},
                      {"do": "rename", "source": "usb-x", "name": "Mine"},
                      {"after": 5, "do": "power", "source": "hdmi2", "state": "on"},
                      {"after": 5, "do": "emit", "result": 5},
                      {"at": 20, "do": "unplug", "source": "usb-disk"}]})"),
                  *m_tv);
    player.start();
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 5; }));
    EXPECT_THAT(results(), ElementsAre(1, 3, 4, 5, 2));
    EXPECT_EQ(m_tv->model().source("usb-x").detectedName, "X");
    EXPECT_EQ(m_tv->model().source("usb-x").deviceType, 9U);
    EXPECT_EQ(m_tv->model().source("usb-x").editName, "Mine");
}

TEST_F(PlayerTest, NoEventHappensBeforeItsTime) {
    Player player(Scenario("f", R"({"events": [{"at": 40, "do": "emit", "result": 1},
                                               {"after": 40, "do": "emit", "result": 2}]})"),
                  *m_tv);
    const auto start = Clock::now();
    player.start();
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
    EXPECT_GE(Clock::now() - start, milliseconds(40));
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 2; }));
    EXPECT_GE(Clock::now() - start, milliseconds(80));
    EXPECT_THAT(results(), ElementsAre(1, 2));
}

TEST_F(PlayerTest, EventsHappenOnceAndNotBeforeTheStart) {
    Player player(Scenario("f", R"({"events": [{"do": "emit", "result": 1}]})"), *m_tv);
    ASSERT_TRUE(control("List", "()"));
    player.start();
    player.start();
    m_tv->emit(ListChange::Icon);
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 2; }));
    EXPECT_THAT(results(), ElementsAre(1, 5));
}

TEST_F(PlayerTest, StoppingCancelsEventsThatAreNotDue) {
    Player player(Scenario("f", R"({"events": [{"do": "emit", "result": 1},
                                               {"at": 30, "do": "emit", "result": 2}]})"),
                  *m_tv);
    Player longer(Scenario("f", R"({"events": [{"at": 60, "do": "emit", "result": 3}]})"), *m_tv);
    player.start();
    player.stop();
    longer.start();
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 2; }));
    EXPECT_THAT(results(), ElementsAre(1, 3));
}

TEST_F(PlayerTest, FaultEventsAddFaults) {
    Player player(Scenario("f", R"({"events": [
                      {"do": "fault", "kind": "refused", "command": "RunApp", "count": 2},
                      {"do": "fault", "kind": "flood", "count": 3, "perSecond": 1000}]})"),
                  *m_tv);
    player.start();
    ASSERT_TRUE(serveUntil([&] { return m_signals.size() >= 3; }));
    const Variant reply =
        send("SendMessage", R"(('', uint32 0, '', '{"method":"RunApp","data":{}}'))");
    ASSERT_TRUE(reply);
    EXPECT_THAT(textOf(reply.get()), testing::HasSubstr("refused on demand"));
}

TEST_F(PlayerTest, RefusedEventIsReportedWithItsLineAndTheNextHappens) {
    Player player(Scenario("play.json", R"({"events": [
                      {"do": "unplug", "source": "hdmi9"},
                      {"do": "emit", "result": 2}]})"),
                  *m_tv);
    testing::internal::CaptureStderr();
    player.start();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::StartsWith("play.json:2: there is no source \"hdmi9\""));
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
}

TEST_F(PlayerTest, DestroyingThePlayerCancelsEventsThatAreNotDue) {
    {
        Player player(Scenario("f", R"({"events": [{"at": 30, "do": "emit", "result": 1}]})"),
                      *m_tv);
        player.start();
    }
    const auto start = Clock::now();
    Player later(Scenario("f", R"({"events": [{"at": 60, "do": "emit", "result": 2}]})"), *m_tv);
    later.start();
    ASSERT_TRUE(serveUntil([&] { return !m_signals.empty(); }));
    EXPECT_GE(Clock::now() - start, milliseconds(60));
    EXPECT_THAT(results(), ElementsAre(2));
}

}  // namespace emulated_tv
