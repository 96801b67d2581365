// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Subscribing and unsubscribing signals.
#include <stdexcept>

#include "LockState.h"
#include "SignalTest.h"
#include "Threads.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::SizeIs;

namespace {

class SignalSubscriptionTest : public SignalTest {};

TEST_F(SignalSubscriptionTest, ASubscriptionIsRecorded) {
    open();
    EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
    ASSERT_THAT(peer.subscriptions, ElementsAre(Key(signalName)));
    const SourceTCServer::STSignalControl &control = *peer.subscriptions.at(signalName);
    EXPECT_EQ(control.signalName, signalName);
    EXPECT_EQ(control.callback, &note);
    EXPECT_EQ(control.userData, &deliveries);
    EXPECT_NE(control.subscriptionId, 0U);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, SubscribingOnAClosedEndpointFailsAndStoresNothing) {
    EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, nullptr), 0);
    EXPECT_THAT(peer.subscriptions, IsEmpty());
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, SubscribingOnALostBusFailsAndStoresNothing) {
    openOnALostBus();
    EXPECT_EQ(endpoint.SubscribeSignal(signalName, note, nullptr), 0);
    EXPECT_THAT(peer.subscriptions, IsEmpty());
}

TEST_F(SignalSubscriptionTest, ANameThatNoSignalCanHaveFailsAndStoresNothing) {
    open();
    {
        const ExpectedCritical refused;
        EXPECT_EQ(endpoint.SubscribeSignal("no-member", note, nullptr), 0);
    }
    EXPECT_THAT(peer.subscriptions, IsEmpty());
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, SubscribingWaitsForTheLock) {
    open();
    LockHolder held(peer.mutex);
    auto subscribing =
        onThread([&] { return endpoint.SubscribeSignal(signalName, note, &deliveries); });
    EXPECT_TRUE(staysBlocked(subscribing));
    EXPECT_THAT(platform.log(), IsEmpty());
    held.release();
    EXPECT_EQ(subscribing.get(), 1);
}

TEST_F(SignalSubscriptionTest, AnExceptionWhileSubscribingReleasesTheLock) {
    open();
    throwAtLine("SubscribeSignal");
    EXPECT_THROW(endpoint.SubscribeSignal(signalName, note, nullptr), std::runtime_error);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, UnsubscribingEndsTheDelivery) {
    subscribe();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    EXPECT_THAT(peer.subscriptions, IsEmpty());
    platform.clearLog();
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty()) << "GLib does not even call the handler";
}

TEST_F(SignalSubscriptionTest, UnsubscribingLeavesOtherNamesSubscribed) {
    subscribe();
    ASSERT_EQ(endpoint.SubscribeSignal("other", note, &deliveries), 1);
    EXPECT_EQ(endpoint.UnSubscribeSignal("other"), 1);
    EXPECT_THAT(peer.subscriptions, ElementsAre(Key(signalName)));
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(deliveries, SizeIs(1));
}

TEST_F(SignalSubscriptionTest, UnsubscribingANameNeverSubscribedIsASilentSuccess) {
    subscribe();
    EXPECT_EQ(endpoint.UnSubscribeSignal("never"), 1);
    EXPECT_THAT(platform.log(), IsEmpty());
    EXPECT_THAT(peer.subscriptions, SizeIs(1));
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, UnsubscribingTwiceIsASilentSuccessTheSecondTime) {
    subscribe();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    platform.clearLog();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(SignalSubscriptionTest, UnsubscribingOnAClosedEndpointFails) {
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 0);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, UnsubscribingOnALostBusFailsAndKeepsTheRecordUntilTheClose) {
    subscribe();
    bus.lose();
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 0);
    EXPECT_THAT(peer.subscriptions, SizeIs(1));
    endpoint.CloseDBusProxy();
    EXPECT_THAT(peer.subscriptions, IsEmpty());
}

TEST_F(SignalSubscriptionTest, UnsubscribingWaitsForTheLock) {
    subscribe();
    LockHolder held(peer.mutex);
    auto unsubscribing = onThread([&] { return endpoint.UnSubscribeSignal(signalName); });
    EXPECT_TRUE(staysBlocked(unsubscribing));
    EXPECT_THAT(peer.subscriptions, SizeIs(1));
    held.release();
    EXPECT_EQ(unsubscribing.get(), 1);
}

TEST_F(SignalSubscriptionTest, AnExceptionWhileUnsubscribingReleasesTheLock) {
    subscribe();
    throwAtLine("UnSubscribeSignal");
    EXPECT_THROW(endpoint.UnSubscribeSignal(signalName), std::runtime_error);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(SignalSubscriptionTest, ASecondSubscriptionDoublesTheDeliveryToTheNewerCallback) {
    subscribe();
    const unsigned int firstId = peer.subscriptions.at(signalName)->subscriptionId;
    Deliveries newer;
    ASSERT_EQ(endpoint.SubscribeSignal(signalName, note, &newer), 1);
    ASSERT_THAT(peer.subscriptions, SizeIs(1));
    EXPECT_NE(peer.subscriptions.at(signalName)->subscriptionId, firstId);
    EXPECT_EQ(peer.subscriptions.at(signalName)->userData, &newer);
    emitAndDeliver(plainBody("{}"));
    EXPECT_THAT(newer, SizeIs(2));
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalSubscriptionTest, UnsubscribingANameSubscribedTwiceEndsTheNewerSubscriptionOnly) {
    subscribe();
    ASSERT_EQ(endpoint.SubscribeSignal(signalName, note, &deliveries), 1);
    EXPECT_EQ(endpoint.UnSubscribeSignal(signalName), 1);
    emitAndDeliver(plainBody("{}"));
    EXPECT_FALSE(platform.logOf("m_DSignalHandler").empty()) << "the older one still arrives";
    EXPECT_THAT(deliveries, IsEmpty());
}

TEST_F(SignalSubscriptionTest, SubscriptionsMayChangeOnAnotherThreadWhileSignalsArrive) {
    constexpr int rounds = 200;
    subscribe();
    Deliveries others;
    auto changing = onThread([&] {
        for (int round = 0; round < rounds; ++round) {
            EXPECT_EQ(endpoint.SubscribeSignal("other", nullptr, nullptr), 1);
            EXPECT_EQ(endpoint.UnSubscribeSignal("other"), 1);
        }
    });
    letTheBusCatchUp();
    for (int round = 0; round < rounds; ++round) {
        service.emitChange("{}");
        if (round % 20 == 0) {
            deliver();
        }
    }
    deliver();
    changing.get();
    EXPECT_THAT(deliveries, SizeIs(rounds));
    EXPECT_THAT(peer.subscriptions, ElementsAre(Key(signalName)));
}

}  // namespace
