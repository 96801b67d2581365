// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Opening and closing the connection to the service, also on several threads at once.
#include <gio/gunixsocketaddress.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AllocationFailure.h"
#include "Barrier.h"
#include "ConnectionTest.h"
#include "TemporaryFolder.h"
#include "Threads.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

TEST_F(ConnectionTest, EndpointIsPublishedOnceItIsOpen) {
    std::vector<bool> published;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "CreateDBusServer" || line.function == "m_CreateDbusConnection") {
            published.push_back(ClientPeer::endpoint() != nullptr);
        }
    });
    CSourceAPI::Get();
    EXPECT_THAT(published, ElementsAre(false, false, true, true, true));
}

TEST_F(ConnectionWithoutBusTest, ThreadThatCannotOpenTheBusUsesTheEndpointOfAnother) {
    CSourceAPI::Get();
    bool otherConnected = false;
    const SourceTCServer *endpointOfOther = nullptr;
    platform.onLog([&](const LogLine &line) {
        if (line.text == "get dbus connection fail!") {
            platform.onLog(nullptr);
            startBus();
            service->reply(R"({"return_data":true})");
            otherConnected = onThread(connectToThree).get();
            endpointOfOther = ClientPeer::endpoint();
        }
    });
    EXPECT_TRUE(connectToThree());
    EXPECT_TRUE(otherConnected);
    EXPECT_EQ(service->countOf("SourceConnect"), 2);
    EXPECT_EQ(ClientPeer::endpoint(), endpointOfOther);
    EXPECT_EQ(handledOfOneSignal(*service), 1);
}

TEST_F(ConnectionTest, ExistingConnectionIsReused) {
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = ClientPeer::endpoint();
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_EQ(ClientPeer::endpoint(), endpoint);
}

TEST_F(ConnectionTest, StaleNamesAreReadAgainWithAnExistingConnection) {
    CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_TRUE(ClientPeer::hasNames());
}

TEST_F(ConnectionTest, UnreadableNamesDoNotMakeTheConnectionFail) {
    platform.setSourceNames(std::nullopt);
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_FALSE(ClientPeer::hasNames());
    EXPECT_TRUE(ClientPeer::isSubscribed());
}

TEST_F(ConnectionTest, EndpointThatCannotBeAllocatedIsAFailedConnection) {
    const AllocationFailure failure(0);
    EXPECT_FALSE(ClientPeer::connect());
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
}

TEST_F(ConnectionTest, RequestWhoseEndpointCannotBeAllocatedFails) {
    const AllocationFailure failure(0);
    EXPECT_FALSE(exchange());
    EXPECT_TRUE(exchange());
}

TEST_F(ConnectionWithoutBusTest, FailedProxyLeavesNoEndpoint) {
    EXPECT_FALSE(ClientPeer::connect());
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_THAT(platform.settingReads(), IsEmpty());
}

TEST_F(ConnectionWithoutBusTest, ObjectIsUsableWithoutABus) {
    ASSERT_NE(CSourceAPI::Get(), nullptr);
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(connectToThree());
    EXPECT_THAT(platform.waits(), IsEmpty());
}

TEST_F(ConnectionWithoutBusTest, FirstRequestAfterTheStartOfTheBusConnectsAndSucceeds) {
    CSourceAPI::Get();
    startBus();
    EXPECT_TRUE(connectToThree());
    EXPECT_EQ(handledOfOneSignal(*service), 1);
    EXPECT_TRUE(connectToThree());
}

TEST_F(ConnectionTest, MissingServiceDoesNotCauseAReconnection) {
    service.releaseName();
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = ClientPeer::endpoint();
    EXPECT_TRUE(ClientPeer::isSubscribed());
    EXPECT_FALSE(connectToThree());
    service.ownName();
    EXPECT_TRUE(connectToThree());
    EXPECT_EQ(ClientPeer::endpoint(), endpoint);
}

TEST_F(ConnectionTest, CloseUnsubscribesAndDeletesTheEndpoint) {
    CSourceAPI::Get();
    ClientPeer::disconnect();
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_EQ(endpointsDeleted(), 1U);
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_EQ(handledOfOneSignal(service), 0);
}

TEST_F(ConnectionTest, CloseLeavesTheCachesAndTheirFlags) {
    CSourceAPI::Get();
    ClientPeer::setList(parsedJson("[1]"));
    ClientPeer::hasAnnounced() = true;
    ClientPeer::disconnect();
    EXPECT_TRUE(ClientPeer::hasNames());
    EXPECT_TRUE(ClientPeer::hasList());
    EXPECT_TRUE(ClientPeer::hasAnnounced());
    EXPECT_THAT(ClientPeer::names(), SizeIs(2));
    EXPECT_EQ(ClientPeer::list(), parsedJson("[1]"));
}

TEST_F(ConnectionTest, SecondCloseDoesNothing) {
    CSourceAPI::Get();
    ClientPeer::disconnect();
    ClientPeer::disconnect();
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
}

TEST_F(ConnectionTest, RequestAfterACloseConnectsAgain) {
    CSourceAPI::Get();
    ClientPeer::disconnect();
    EXPECT_TRUE(exchange());
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ConnectionTest, CloseDoesNotWaitForACallWhichKeepsItsEndpoint) {
    CSourceAPI::Get();
    service.hold();
    std::future<bool> call = std::async(std::launch::async, connectToThree);
    service.waitForCalls(1);
    std::future<bool> closed = std::async(std::launch::async, [] {
        ClientPeer::disconnect();
        return ClientPeer::endpoint() == nullptr;
    });
    const bool closedMeanwhile = ends(closed);
    EXPECT_TRUE(closedMeanwhile);
    EXPECT_NE(call.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_EQ(endpointsDeleted(), 0U);
    service.release();
    EXPECT_TRUE(call.get());
    EXPECT_TRUE(closed.get());
    EXPECT_EQ(endpointsDeleted(), 1U);
}

TEST_F(ConnectionWithoutBusTest, ThreadsThatConnectAtOnceShareOneEndpointAndOneSubscription) {
    CSourceAPI::Get();
    startBus();
    platform.clearLog();
    Barrier opened(2);
    Barrier subscribing(2);
    platform.onLog([&](const LogLine &line) {
        if (line.text.rfind("Get dbus connection success", 0) == 0) {
            opened.arriveAndWait();
        } else if (line.text == "Subscribe for signal :: [0]") {
            subscribing.arriveAndWait();
        }
    });
    std::future<bool> first = std::async(std::launch::async, connectToThree);
    std::future<bool> second = std::async(std::launch::async, connectToThree);
    EXPECT_TRUE(first.get());
    EXPECT_TRUE(second.get());
    platform.onLog(nullptr);
    EXPECT_EQ(endpointsDeleted(), 1U);
    EXPECT_EQ(handledOfOneSignal(*service), 1);
}

TEST_F(ConnectionTest, SlowSettingsStoreBlocksNoOtherThread) {
    Barrier reading(2);
    Barrier goOn(2);
    platform.onSettingRead([&] {
        platform.onSettingRead(nullptr);
        reading.arriveAndWait();
        goOn.arriveAndWait();
    });
    std::future<bool> slow = std::async(std::launch::async, [] { return ClientPeer::connect(); });
    reading.arriveAndWait();
    std::future<bool> request = std::async(std::launch::async, [this] { return exchange(); });
    EXPECT_TRUE(ends(request));
    EXPECT_TRUE(ClientPeer::isSubscribed());
    goOn.arriveAndWait();
    EXPECT_TRUE(request.get());
    EXPECT_TRUE(slow.get());
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

// A bus address that accepts connections and never answers.
class SilentBus {
 public:
    SilentBus() {
        const std::string path = m_folder.path() / "bus";
        GSocketAddress *const address = g_unix_socket_address_new(path.c_str());
        m_socket.reset(g_socket_new(G_SOCKET_FAMILY_UNIX, G_SOCKET_TYPE_STREAM,
                                    G_SOCKET_PROTOCOL_DEFAULT, nullptr));
        EXPECT_TRUE(g_socket_bind(socket(), address, FALSE, nullptr));
        EXPECT_TRUE(g_socket_listen(socket(), nullptr));
        g_object_unref(address);
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), TRUE);
    }
    SilentBus(const SilentBus &) = delete;
    SilentBus &operator=(const SilentBus &) = delete;

    bool waitForClient() {
        return g_socket_condition_timed_wait(socket(), G_IO_IN, waitLimit * gint64{1000}, nullptr,
                                             nullptr) != FALSE;
    }
    void hangUp() { g_socket_close(socket(), nullptr); }

 private:
    GSocket *socket() const { return static_cast<GSocket *>(m_socket.get()); }

    TemporaryFolder m_folder;
    support::Owner<GSocket> m_socket;
};

TEST_F(ConnectionWithoutBusTest, BusThatNeverRepliesBlocksNoOtherThread) {
    SilentBus silent;
    std::future<bool> opening =
        std::async(std::launch::async, [] { return ClientPeer::connect(); });
    EXPECT_TRUE(silent.waitForClient());
    std::future<bool> closed = std::async(std::launch::async, [] {
        ClientPeer::disconnect();
        return true;
    });
    EXPECT_TRUE(ends(closed));
    EXPECT_NE(opening.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    silent.hangUp();
    EXPECT_FALSE(opening.get());
    EXPECT_TRUE(closed.get());
}

}  // namespace
