// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// One request to the service, and the causes of failure.
#include "ConnectionTest.h"
#include "LockState.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

class RequestTest : public ConnectionTest {};

TEST_F(RequestTest, RequestIsOneSynchronousCallToTheService) {
    SourceTCMessage reply;
    service.reply(R"({"return_data":[1]})");
    EXPECT_TRUE(exchange(reply));
    EXPECT_EQ(reply.m_JsonRoot["return_data"], parsedJson("[1]"));
    ASSERT_THAT(service.calls(), SizeIs(1));
    const ReceivedCall call = service.lastCall();
    EXPECT_EQ(call.destination, "source_service.message");
    EXPECT_EQ(call.path, "/source_service/message");
    EXPECT_EQ(call.interface, "source_service.message");
    EXPECT_EQ(call.member, "SendMessage");
    EXPECT_EQ(call.bodyType, "(suss)");
    EXPECT_EQ(call.sender, "source_api");
    EXPECT_EQ(call.number, 0U);
    EXPECT_EQ(call.auxText, "");
}

TEST_F(RequestTest, RequestFailsAtOnceWithoutTheService) {
    CSourceAPI::Get();
    service.releaseName();
    EXPECT_FALSE(exchange());
    EXPECT_THAT(platform.waits(), IsEmpty());
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(RequestTest, ServiceUnderAnotherNameIsNotTheService) {
    service.releaseName();
    const FakeService other(bus, "source_service.other");
    EXPECT_FALSE(exchange());
    EXPECT_THAT(other.calls(), IsEmpty());
}

TEST_F(RequestTest, RefusedCallIsAFailedRequest) {
    CSourceAPI::Get();
    service.replyWithError("test.Error.Refused", "not today");
    EXPECT_FALSE(exchange());
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(RequestTest, RequestsFailAtOnceAfterTheLossOfTheBus) {
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = ClientPeer::endpoint();
    bus.lose();
    bus.start();
    const FakeService again(bus);
    for (int request = 0; request < 2; ++request) {
        EXPECT_FALSE(exchange());
    }
    EXPECT_EQ(ClientPeer::endpoint(), endpoint);
    EXPECT_THAT(again.calls(), IsEmpty());
}

TEST_F(RequestTest, NoGlobalMutexIsHeldDuringARequest) {
    CSourceAPI::Get();
    bool cachesFree = false;
    bool callbacksFree = false;
    service.replyWith([&](const ReceivedCall & /*call*/) {
        cachesFree = isFree(m_sourceUtilMutex);
        callbacksFree = isFree(m_sourceAPICallbackDataMutex);
        return plainBody(R"({"return_data":true})");
    });
    EXPECT_TRUE(connectToThree());
    EXPECT_TRUE(cachesFree);
    EXPECT_TRUE(callbacksFree);
}

}  // namespace
