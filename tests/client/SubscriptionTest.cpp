// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The client's subscription to the change signal: made once, retried until it succeeds.
#include <functional>
#include <future>
#include <string>

#include "Barrier.h"
#include "ConnectionTest.h"

using testing::SizeIs;

namespace {

class SubscriptionTest : public ConnectionTest {};

TEST_F(SubscriptionTest, SubscribingWithoutAnEndpointFails) {
    EXPECT_FALSE(ClientPeer::subscribe());
}

TEST_F(SubscriptionTest, FailedSubscriptionDoesNotMakeTheConnectionFail) {
    failNextSubscription();
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_NE(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
}

TEST_F(SubscriptionTest, FailedSubscriptionIsRetriedUntilItSucceeds) {
    failNextSubscription();
    CSourceAPI::Get();
    EXPECT_EQ(handledOfOneSignal(service), 0);
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(ClientPeer::isSubscribed());
    EXPECT_EQ(handledOfOneSignal(service), 1);
    EXPECT_TRUE(exchange());
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(SubscriptionTest, RequestContinuesWhenTheRetriedSubscriptionFails) {
    failNextSubscription();
    CSourceAPI::Get();
    failNextSubscription();
    EXPECT_TRUE(exchange());
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_THAT(service.calls(), SizeIs(1));
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

TEST_F(SubscriptionTest, RequestThatConnectsRetriesTheSubscriptionItself) {
    failNextSubscription();
    EXPECT_TRUE(exchange());
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

// Two threads that find no subscription at the same time must make only one. Many rounds, as a test
// cannot see when a thread is about to take a lock.
class SubscriptionRaceTest : public ConnectionTest {
 protected:
    // Both threads do `work`, and meet where `operation` logs its first line.
    void race(const std::function<bool()> &work, const std::string &operation) {
        CSourceAPI::Get();
        constexpr int rounds = 50;
        for (int round = 0; round < rounds && !HasFailure(); ++round) {
            ClientPeer::unsubscribe();
            ClientPeer::isSubscribed() = false;
            platform.clearLog();
            Barrier meeting(2);
            platform.onLog([&](const LogLine &logged) {
                if (logged.function == operation) {
                    meeting.arriveAndWait();
                }
            });
            std::future<bool> first = std::async(std::launch::async, work);
            std::future<bool> second = std::async(std::launch::async, work);
            EXPECT_TRUE(first.get());
            EXPECT_TRUE(second.get());
            platform.onLog(nullptr);
        }
        // A second subscription made in any round would still deliver.
        EXPECT_EQ(handledOfOneSignal(service), 1);
    }
};

TEST_F(SubscriptionRaceTest, ThreadsThatConnectAtOnceSubscribeOnce) {
    race([] { return ClientPeer::connect(); }, "m_CreateDbusConnection");
}

TEST_F(SubscriptionRaceTest, RequestsAtOnceSubscribeOnce) {
    race([this] { return exchange(); }, "m_SendMessageSync");
}

}  // namespace
