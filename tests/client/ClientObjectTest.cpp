// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The one client object of a process, and what its construction does.
#include <future>
#include <type_traits>
#include <vector>

#include "Barrier.h"
#include "ConnectionTest.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

class ClientObjectTest : public ConnectionTest {};

TEST_F(ClientObjectTest, InterfaceNameIsSource) {
    static_assert(std::is_same_v<decltype(CSourceAPI::API_NAME), const char *>);
    EXPECT_STREQ(CSourceAPI::API_NAME, "Source");
}

TEST_F(ClientObjectTest, StateBeforeTheFirstGetIsEmpty) {
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_FALSE(ClientPeer::hasAnnounced());
    EXPECT_FALSE(ClientPeer::hasNames());
    EXPECT_FALSE(ClientPeer::hasList());
    EXPECT_TRUE(ClientPeer::list().isNull());
    EXPECT_THAT(ClientPeer::names(), IsEmpty());
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(ClientObjectTest, EveryGetReturnsTheSameObject) {
    CSourceAPI *const api = CSourceAPI::Get();
    ASSERT_NE(api, nullptr);
    EXPECT_EQ(CSourceAPI::Get(), api);
    EXPECT_THAT(ClientPeer::registrations(), IsEmpty());
    EXPECT_EQ(clientsMade(), 1U);
}

TEST_F(ClientObjectTest, SecondGetDoesNothing) {
    CSourceAPI::Get();
    platform.clearLog();
    CSourceAPI::Get();
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(ClientObjectTest, ThreadsThatGetAtOnceShareOneObject) {
    Barrier start(4);
    std::vector<std::future<CSourceAPI *>> objects;
    for (int thread = 0; thread < 4; ++thread) {
        objects.push_back(std::async(std::launch::async, [&] {
            start.arriveAndWait();
            return CSourceAPI::Get();
        }));
    }
    for (auto &object : objects) {
        EXPECT_EQ(object.get(), CSourceAPI::Get());
    }
    EXPECT_EQ(clientsMade(), 1U);
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ClientObjectTest, ConstructorThatThrowsIsTriedAgainByTheNextGet) {
    platform.setSourceNames(R"([{"SourceType":"seven"}])");
    EXPECT_THROW(CSourceAPI::Get(), Json::Exception);
    platform.setSourceNames(names);
    EXPECT_TRUE(CSourceAPI::Get()->Connect(3));
    EXPECT_THAT(ClientPeer::names(), SizeIs(2));
    EXPECT_EQ(clientsMade(), 2U);
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ClientObjectTest, FirstGetMakesTheEndpointAndItsSubscription) {
    CSourceAPI::Get();
    ASSERT_NE(ClientPeer::endpoint(), nullptr);
    const EndpointPeer endpoint = peerOf(*ClientPeer::endpoint());
    EXPECT_EQ(endpoint.name, "source_api");
    EXPECT_EQ(endpoint.type, 2);
    EXPECT_NE(endpoint.connection, nullptr);
    EXPECT_TRUE(ClientPeer::hasNames());
    EXPECT_TRUE(ClientPeer::isSubscribed());
    ASSERT_EQ(endpoint.subscriptions.count("source_api"), 1U);
    const auto *const control = endpoint.subscriptions.at("source_api");
    EXPECT_EQ(control->callback, ClientPeer::signalCallback());
    EXPECT_EQ(control->userData, nullptr);
}

TEST_F(ClientObjectTest, FirstGetSendsNothingToTheService) {
    CSourceAPI::Get();
    EXPECT_THAT(service.calls(), IsEmpty());
    EXPECT_THAT(platform.waits(), IsEmpty());
}

TEST_F(ClientObjectTest, ChangeSignalReachesTheClient) {
    CSourceAPI::Get();
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ClientObjectTest, ConnectGoesThroughTheOneObject) {
    const auto other = ClientPeer::makeAnother();
    EXPECT_TRUE(other->Connect(3));
    EXPECT_EQ(clientsMade(), 2U);
}

TEST_F(ClientObjectTest, RunAppGoesThroughTheOneObject) {
    const auto other = ClientPeer::makeAnother();
    EXPECT_TRUE(other->RunApp(3, "key"));
    EXPECT_EQ(clientsMade(), 2U);
}

}  // namespace
