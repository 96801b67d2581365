// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Closing and destroying an endpoint.
#include <memory>
#include <stdexcept>

#include "EndpointTest.h"
#include "LockState.h"
#include "Threads.h"

using testing::ElementsAre;
using testing::Key;

namespace {

class EndpointClosingTest : public EndpointTest {};

constexpr auto otherKind = static_cast<SourceTCServer::SourceTCServerType>(1);

TEST_F(EndpointClosingTest, ClosingReleasesTheConnection) {
    open();
    const auto connectionEnded = endOf(peer.connection);
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
    EXPECT_TRUE(ends(connectionEnded));
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(EndpointClosingTest, ClosingLeavesTheSharedConnectionOpenForOthers) {
    open();
    const BusConnection shared = sharedConnection();
    endpoint.CloseDBusServer();
    EXPECT_EQ(g_dbus_connection_is_closed(shared.get()), FALSE);
}

TEST_F(EndpointClosingTest, ClosingOneThatWasNeverOpenedDoesNothing) {
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(EndpointClosingTest, ClosingWithoutAConnectionChangesNothing) {
    peer.isOpen = 1;
    peer.ownerId = 5;
    peer.callsInFlight = 3;
    endpoint.CloseDBusProxy();
    EXPECT_EQ(peer.isOpen, 1);
    EXPECT_EQ(peer.ownerId, 5U);
    EXPECT_EQ(peer.callsInFlight, 3U);
}

TEST_F(EndpointClosingTest, ClosingTwiceDoesNothingTheSecondTime) {
    open();
    endpoint.CloseDBusProxy();
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
}

TEST_F(EndpointClosingTest, CanBeOpenedAgainOnceClosed) {
    open();
    endpoint.CloseDBusProxy();
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(peer.isOpen, 1);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
}

TEST_F(EndpointClosingTest, ClosingWorksOnALostBus) {
    openOnALostBus();
    ASSERT_EQ(endpoint.SubscribeSignal("source_api", ignoreSignal, nullptr), 0);
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
}

TEST_F(EndpointClosingTest, ALostConnectionIsNotReopened) {
    openOnALostBus();
    GDBusConnection *const lost = peer.connection;
    bus.start();
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(peer.connection, lost);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
}

TEST_F(EndpointClosingTest, ClosingEndsEverySubscription) {
    open();
    for (const char *name : {"first", "second"}) {
        ASSERT_EQ(endpoint.SubscribeSignal(name, ignoreSignal, nullptr), 1);
    }
    peer.subscriptions["without a record"] = nullptr;
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
}

TEST_F(EndpointClosingTest, ClosingOneOfAnotherKindRemovesItsOwnNameFromTheRegistry) {
    auto &registry = EndpointPeer::registry();
    SourceTCServer server("server", otherKind);
    registry["server"] = &server;
    registry["another"] = nullptr;
    ASSERT_EQ(server.CreateDBusServer(), 1);
    server.CloseDBusServer();
    expectClosed(server);
    EXPECT_THAT(registry, ElementsAre(Key("another")));
    registry.clear();
}

TEST_F(EndpointClosingTest, ClosingAProxyLeavesTheRegistryAlone) {
    auto &registry = EndpointPeer::registry();
    registry["source_api"] = &endpoint;
    open();
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
    EXPECT_THAT(registry, ElementsAre(Key("source_api")));
    registry.clear();
}

TEST_F(EndpointClosingTest, ClosingReleasesNameObjectAndDescription) {
    constexpr const char *description = "<node><interface name='test.Object'/></node>";
    constexpr const char *path = "/test/object";
    open();
    const BusConnection shared = sharedConnection();
    GDBusNodeInfo *const nodes = g_dbus_node_info_new_for_xml(description, nullptr);
    GDBusInterfaceInfo *const interface = nodes->interfaces[0];
    const auto registerObject = [&] {
        return g_dbus_connection_register_object(shared.get(), path, interface, nullptr, nullptr,
                                                 nullptr, nullptr);
    };
    g_dbus_node_info_ref(nodes);
    peer.introspectionData = nodes;
    peer.registrationId = registerObject();
    ASSERT_NE(peer.registrationId, 0U);
    bool owned = false;
    peer.ownerId = g_bus_own_name_on_connection(
        shared.get(), "test_server.message", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection * /*connection*/, const char * /*name*/, gpointer done) {
            *static_cast<bool *>(done) = true;
        },
        nullptr, &owned, nullptr);
    ASSERT_TRUE(iterateUntil([&] { return owned; }));
    ASSERT_EQ(endpoint.IsServiceAvailable("test_server"), 1);

    endpoint.CloseDBusServer();
    EXPECT_EQ(peer.ownerId, 0U);
    EXPECT_EQ(peer.registrationId, 0U);
    EXPECT_EQ(peer.introspectionData, nullptr);
    EXPECT_EQ(nodes->ref_count, 1) << "the test's own reference is left";
    const guint again = registerObject();
    EXPECT_NE(again, 0U);
    g_dbus_connection_unregister_object(shared.get(), again);
    g_dbus_node_info_unref(nodes);
    ASSERT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.IsServiceAvailable("test_server"), 0);
}

TEST_F(EndpointClosingTest, ClosingWaitsForTheLock) {
    open();
    LockHolder held(peer.mutex);
    const auto closing = onThread([&] { endpoint.CloseDBusProxy(); });
    EXPECT_TRUE(staysBlocked(closing));
    EXPECT_NE(peer.connection, nullptr);
    held.release();
    EXPECT_TRUE(ends(closing));
    expectClosed(endpoint);
}

TEST_F(EndpointClosingTest, AnExceptionWhileClosingReleasesTheLock) {
    open();
    throwAtLine("CloseDBusServer", 2);
    EXPECT_THROW(endpoint.CloseDBusProxy(), std::runtime_error);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(EndpointClosingTest, DestructionDoesNotCloseTheConnection) {
    auto abandoned = std::make_unique<SourceTCServer>("abandoned", SourceTCServer::PROXY);
    ASSERT_EQ(abandoned->CreateDBusProxy(), 1);
    const BusConnection reference(peerOf(*abandoned).connection);
    abandoned.reset();
    EXPECT_EQ(g_dbus_connection_is_closed(reference.get()), FALSE);
}

TEST_F(EndpointClosingTest, DestructionLeavesTheRecordsOfSubscriptionsAlone) {
    auto abandoned = std::make_unique<SourceTCServer>("abandoned", SourceTCServer::PROXY);
    ASSERT_EQ(abandoned->CreateDBusProxy(), 1);
    const BusConnection reference(peerOf(*abandoned).connection);
    ASSERT_EQ(abandoned->SubscribeSignal("abandoned", ignoreSignal, nullptr), 1);
    const std::unique_ptr<SourceTCServer::STSignalControl> record(
        peerOf(*abandoned).subscriptions.at("abandoned"));
    abandoned.reset();
    EXPECT_EQ(record->signalName, "abandoned") << "the record is the test's to release";
    g_dbus_connection_signal_unsubscribe(reference.get(), record->subscriptionId);
}

}  // namespace
