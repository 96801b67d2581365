// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The client's subscription to the change signal: made once, retried until it succeeds.
#include <functional>
#include <future>
#include <string>

#include "Barrier.h"
#include "ConnectionTest.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace {

class SubscriptionTest : public ConnectionTest {};

TEST_F(SubscriptionTest, SubscribingWithoutAnEndpointFailsWithALine) {
    EXPECT_FALSE(ClientPeer::subscribe());
    EXPECT_THAT(platform.log(), ElementsAre(Info("m_SubscribeSignal"),
                                            Error("dBusHandler is NULL. Can't subscribe signal.")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_SubscribeSignal")));
}

TEST_F(SubscriptionTest, UnsubscribingWithoutAnEndpointLogsALine) {
    ClientPeer::unsubscribe();
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_UnSubscribeSignal"),
                            Error("dBusHandler is NULL. Can't unsubscribe signal.")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_UnSubscribeSignal")));
}

TEST_F(SubscriptionTest, FailedSubscriptionDoesNotMakeTheConnectionFail) {
    failNextSubscription();
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_NE(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_THAT(
        platform.logOf("m_CreateDbusConnection"),
        ElementsAre(Error("Created source API dbus connection!"), Info("Initialize Source Map"),
                    Info("Subscribe for signal :: [0]"), Error("Fail to subscribe signal")));
}

TEST_F(SubscriptionTest, FailedSubscriptionIsRetriedByTheNextRequestAndThenNoMore) {
    failNextSubscription();
    CSourceAPI::Get();
    EXPECT_EQ(handledOfOneSignal(service), 0);
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(ClientPeer::isSubscribed());
    EXPECT_THAT(clientLog(), ElementsAre(Error("m_SendMessageSync"), Error("Subscribe signal"),
                                         Info("m_SubscribeSignal")));
    EXPECT_EQ(handledOfOneSignal(service), 1);
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(), ElementsAre(Error("m_SendMessageSync")));
}

TEST_F(SubscriptionTest, RequestGoesOnWhenTheRetriedSubscriptionFailsToo) {
    failNextSubscription();
    CSourceAPI::Get();
    failNextSubscription();
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("m_SendMessageSync"), Error("Subscribe signal"),
                            Info("m_SubscribeSignal"), Error("Fail to subscribe signal")));
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_THAT(service.calls(), SizeIs(1));
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(platform.logOf("m_SendMessageSync"), Contains(Error("Subscribe signal")));
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

TEST_F(SubscriptionTest, RequestThatConnectsRetriesTheSubscriptionItself) {
    failNextSubscription();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(platform.logOf("m_SendMessageSync"),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection"),
                            Error("Subscribe signal")));
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

// Two threads that find no subscription at once must make one. Many rounds, as nothing shows when
// a thread is about to take a lock.
class SubscriptionRaceTest : public ConnectionTest {
 protected:
    // Both threads do `work`, and meet where it logs `line`.
    void race(const std::function<bool()> &work, const std::string &line) {
        CSourceAPI::Get();
        constexpr int rounds = 50;
        for (int round = 0; round < rounds && !HasFailure(); ++round) {
            ClientPeer::unsubscribe();
            ClientPeer::isSubscribed() = false;
            platform.clearLog();
            Barrier meeting(2);
            platform.onLog([&](const LogLine &logged) {
                if (logged.text == line) {
                    meeting.arriveAndWait();
                }
            });
            std::future<bool> first = std::async(std::launch::async, work);
            std::future<bool> second = std::async(std::launch::async, work);
            EXPECT_TRUE(first.get());
            EXPECT_TRUE(second.get());
            platform.onLog(nullptr);
            EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
        }
        EXPECT_EQ(handledOfOneSignal(service), 1);
    }
};

TEST_F(SubscriptionRaceTest, ThreadsThatConnectAtOnceSubscribeOnce) {
    race([] { return ClientPeer::connect(); }, "Subscribe for signal :: [0]");
}

TEST_F(SubscriptionRaceTest, RequestsAtOnceSubscribeOnce) {
    race([this] { return exchange(); }, "m_SendMessageSync");
}

}  // namespace
