// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Method calls that cannot be made or get no reply.
#include <stdexcept>

#include "LockState.h"
#include "MethodCallTest.h"
#include "Threads.h"

using testing::IsEmpty;

namespace {

class MethodCallFailureTest : public MethodCallTest {};

TEST_F(MethodCallFailureTest, WithoutAPeersNameItFails) {
    open();
    EXPECT_EQ(endpoint.SendMessage(nullptr, nullptr, true, &reply), 0);
    EXPECT_EQ(endpoint.SendMessage("", nullptr, true, &reply), 0);
    EXPECT_THAT(service.calls(), IsEmpty());
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, GivesUpAfterAMillisecondWhileTheLockIsHeld) {
    open();
    const LockHolder held(peer.mutex);
    const gint64 shortest = shortestTimeOf([&] { EXPECT_EQ(send(), 0); });
    EXPECT_GE(shortest, 1000);
    EXPECT_LT(shortest, G_USEC_PER_SEC / 2) << "1000 of a larger unit is a second at least";
    EXPECT_EQ(callsInFlight(), 0U);
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(MethodCallFailureTest, TheThreadThatHoldsTheLockMaySendAndKeepsTheLock) {
    open();
    peer.mutex.Lock();
    EXPECT_EQ(send(), 1);
    EXPECT_FALSE(isFree(peer.mutex));
    peer.mutex.Unlock();
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(MethodCallFailureTest, OnAClosedEndpointItFails) {
    EXPECT_EQ(send(), 0);
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, OnALostBusItFails) {
    openOnALostBus();
    EXPECT_EQ(send(), 0);
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, AnErrorFromThePeerFailsTheCall) {
    open();
    service.replyWithError("test.Error.Broken", "it broke");
    reply.SetMessage(R"({"old":true})");
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(reply.m_Message, R"({"old":true})") << "the reply is left alone";
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, ACallToAMissingPeerFails) {
    open();
    EXPECT_EQ(endpoint.SendMessage("missing", nullptr, true, &reply), 0);
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, ABusThatIsLostDuringACallFailsIt) {
    open();
    service.hold();
    auto sending = onThread([&] { return send(); });
    service.waitForCalls(1);
    bus.stop();
    EXPECT_EQ(sending.get(), 0);
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, ANameThatCannotBeABusNameFailsWithoutAnError) {
    open();
    {
        const ExpectedCritical refused;
        EXPECT_EQ(endpoint.SendMessage("1st", nullptr, true, &reply), 0);
    }
    expectNothingInFlight();
}

TEST_F(MethodCallFailureTest, AnExceptionBeforeTheCallCountsItDown) {
    open();
    throwAtLine("SendMessage");
    EXPECT_THROW(send(), std::runtime_error);
    EXPECT_THAT(service.calls(), IsEmpty());
    expectNothingInFlight();
}

}  // namespace
