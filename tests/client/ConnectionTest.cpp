// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Opening and closing the connection to the service, also on several threads at once.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AllocationFailure.h"
#include "Barrier.h"
#include "ConnectionTest.h"
#include "Threads.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

TEST_F(ConnectionTest, EndpointIsPublishedOnceItIsOpen) {
    std::vector<bool> published;
    platform.onLog([&](const LogLine &line) {
        if (line.function == "CreateDBusServer" ||
            line.text == "Created source API dbus connection!") {
            published.push_back(ClientPeer::endpoint() != nullptr);
        }
    });
    CSourceAPI::Get();
    EXPECT_THAT(published, ElementsAre(false, false, true));
}

TEST_F(ConnectionWithoutBusTest, ThreadThatCannotOpenTheBusUsesTheEndpointOfAnother) {
    CSourceAPI::Get();
    bool otherConnected = false;
    platform.onLog([&](const LogLine &line) {
        if (line.text == "get dbus connection fail!") {
            platform.onLog(nullptr);
            startBus();
            service->reply(R"({"return_data":true})");
            otherConnected = onThread(connectToThree).get();
        }
    });
    EXPECT_TRUE(connectToThree());
    EXPECT_TRUE(otherConnected);
    EXPECT_EQ(service->countOf("SourceConnect"), 2);
    EXPECT_EQ(platform.count(errorPriority, "Created source API dbus connection!"), 1);
    EXPECT_EQ(handledOfOneSignal(*service), 1);
}

TEST_F(ConnectionTest, ExistingConnectionIsReusedAsItIs) {
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = ClientPeer::endpoint();
    platform.clearLog();
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_EQ(ClientPeer::endpoint(), endpoint);
    EXPECT_THAT(platform.log(), ElementsAre(Info("Subscribe for signal :: [1]")));
}

TEST_F(ConnectionTest, StaleNamesAreReadAgainWithTheConnectionInPlace) {
    CSourceAPI::Get();
    ClientPeer::hasNames() = false;
    platform.clearLog();
    EXPECT_TRUE(ClientPeer::connect());
    EXPECT_THAT(platform.logOf("m_CreateDbusConnection"),
                ElementsAre(Info("Initialize Source Map"), Info("Subscribe for signal :: [1]")));
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
    EXPECT_THAT(platform.log(),
                ElementsAre(Error("Fail to create SourceTCServer. dBusHandler is NULL")));
    EXPECT_THAT(platform.log(), Each(From("SourceAPI.cpp", "m_CreateDbusConnection")));
}

TEST_F(ConnectionTest, RequestWhoseEndpointCannotBeAllocatedFails) {
    const AllocationFailure failure(0);
    EXPECT_FALSE(exchange());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection"),
                            Error("Fail to create SourceTCServer. dBusHandler is NULL"),
                            Error("Fail to create dbus connection. Can't send message")));
    EXPECT_TRUE(exchange());
}

TEST_F(ConnectionWithoutBusTest, FailedProxyLogsAndLeavesNoEndpoint) {
    EXPECT_FALSE(ClientPeer::connect());
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("fail to create dbus proxy for source serivce daemon"),
                            Info("Has subscribed for event :: [0]")));
    EXPECT_THAT(platform.log(), Contains(Error("get dbus connection fail!")));
    EXPECT_THAT(platform.settingReads(), IsEmpty());
}

TEST_F(ConnectionWithoutBusTest, ObjectIsUsableAllTheSame) {
    ASSERT_NE(CSourceAPI::Get(), nullptr);
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    platform.clearLog();
    EXPECT_FALSE(connectToThree());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("connecting source type = [3]"), Error("m_SendMessageSync"),
                            Error("Need to create Dbus Connection"),
                            Error("fail to create dbus proxy for source serivce daemon"),
                            Info("Has subscribed for event :: [0]"),
                            Error("Fail to create dbus connection. Can't send message")));
    EXPECT_THAT(platform.waits(), IsEmpty());
}

TEST_F(ConnectionWithoutBusTest, FirstRequestAfterTheBusCameConnectsAndSucceeds) {
    CSourceAPI::Get();
    startBus();
    platform.clearLog();
    EXPECT_TRUE(connectToThree());
    EXPECT_THAT(platform.logOf("m_SendMessageSync"),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection")));
    EXPECT_THAT(platform.logOf("m_CreateDbusConnection"),
                ElementsAre(Error("Created source API dbus connection!"),
                            Info("Initialize Source Map"), Info("Subscribe for signal :: [0]")));
    EXPECT_EQ(handledOfOneSignal(*service), 1);
    platform.clearLog();
    EXPECT_TRUE(connectToThree());
    EXPECT_EQ(platform.count(errorPriority, "Need to create Dbus Connection"), 0);
}

TEST_F(ConnectionTest, MissingServiceAloneIsNoReasonToConnectAgain) {
    service.releaseName();
    CSourceAPI::Get();
    const SourceTCServer *const endpoint = ClientPeer::endpoint();
    EXPECT_TRUE(ClientPeer::isSubscribed());
    EXPECT_FALSE(connectToThree());
    service.ownName();
    EXPECT_TRUE(connectToThree());
    EXPECT_EQ(ClientPeer::endpoint(), endpoint);
    EXPECT_EQ(platform.count(errorPriority, "Need to create Dbus Connection"), 0);
}

TEST_F(ConnectionTest, CloseUnsubscribesAndDeletesTheEndpoint) {
    CSourceAPI::Get();
    platform.clearLog();
    ClientPeer::disconnect();
    EXPECT_EQ(ClientPeer::endpoint(), nullptr);
    EXPECT_FALSE(ClientPeer::isSubscribed());
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("Has subscribed for event :: [1]"),
                            Info("UNSubscribe signal callback"), Info("m_UnSubscribeSignal"),
                            InfoWith("UnSubscribeSignal source_api("), endpointDeleted));
    EXPECT_THAT(platform.logOf("m_CloseDbusConnection"),
                AllOf(SizeIs(2), Each(From("SourceAPI.cpp", "m_CloseDbusConnection"))));
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

TEST_F(ConnectionTest, SecondCloseOnlyLogsThatNothingIsSubscribed) {
    CSourceAPI::Get();
    ClientPeer::disconnect();
    platform.clearLog();
    ClientPeer::disconnect();
    EXPECT_THAT(platform.log(), ElementsAre(Info("Has subscribed for event :: [0]")));
}

TEST_F(ConnectionTest, RequestAfterACloseConnectsAgain) {
    CSourceAPI::Get();
    ClientPeer::disconnect();
    platform.clearLog();
    EXPECT_TRUE(exchange());
    EXPECT_THAT(clientLog(),
                ElementsAre(Error("m_SendMessageSync"), Error("Need to create Dbus Connection"),
                            Error("Created source API dbus connection!"),
                            Info("Subscribe for signal :: [0]"), Info("m_SubscribeSignal")));
    EXPECT_EQ(handledOfOneSignal(service), 1);
}

TEST_F(ConnectionTest, CloseWaitsForNoCallAndLeavesTheEndpointToIt) {
    CSourceAPI::Get();
    service.hold();
    std::future<bool> call = std::async(std::launch::async, connectToThree);
    service.waitForCalls(1);
    platform.clearLog();
    std::future<bool> closed = std::async(std::launch::async, [] {
        ClientPeer::disconnect();
        return ClientPeer::endpoint() == nullptr;
    });
    const bool closedMeanwhile = ends(closed);
    EXPECT_TRUE(closedMeanwhile);
    EXPECT_NE(call.wait_for(std::chrono::seconds(0)), std::future_status::ready);
    EXPECT_THAT(platform.log(), Not(Contains(endpointDeleted)));
    service.release();
    EXPECT_TRUE(call.get());
    EXPECT_TRUE(closed.get());
    EXPECT_THAT(platform.log(), Contains(endpointDeleted).Times(1));
    EXPECT_EQ(platform.count(infoPriority, "close source_api begin"), 0);
}

TEST_F(ConnectionWithoutBusTest, ThreadsThatConnectAtOnceEndWithOneEndpointAndOneSubscription) {
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
    EXPECT_EQ(platform.count(errorPriority, "Need to create Dbus Connection"), 2);
    EXPECT_EQ(platform.count(errorPriority, "Created source API dbus connection!"), 1);
    EXPECT_EQ(platform.count(infoPriority, "close source_api begin"), 1);
    EXPECT_EQ(platform.count(infoPriority, "close connection and all close motion finished"), 1);
    EXPECT_THAT(platform.log(), Contains(endpointDeleted).Times(1));
    EXPECT_EQ(platform.count(infoPriority, "m_SubscribeSignal"), 1);
    EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
    EXPECT_EQ(handledOfOneSignal(*service), 1);
}

TEST_F(ConnectionTest, SlowSettingsStoreHoldsUpNoOtherThread) {
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
    EXPECT_EQ(platform.count(infoPriority, "SubscribeSignal source_api success"), 1);
}

// A bus address where connections are taken and nobody ever answers.
class SilentBus {
 public:
    SilentBus() : m_directory(g_dir_make_tmp("silent-bus-XXXXXX", nullptr), g_free) {
        m_path = std::string(m_directory.get()) + "/bus";
        GSocketAddress *const address = g_unix_socket_address_new(m_path.c_str());
        m_socket.reset(g_socket_new(G_SOCKET_FAMILY_UNIX, G_SOCKET_TYPE_STREAM,
                                    G_SOCKET_PROTOCOL_DEFAULT, nullptr));
        EXPECT_TRUE(g_socket_bind(socket(), address, FALSE, nullptr));
        EXPECT_TRUE(g_socket_listen(socket(), nullptr));
        g_object_unref(address);
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + m_path).c_str(), TRUE);
    }
    ~SilentBus() {
        std::remove(m_path.c_str());
        std::remove(m_directory.get());
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

    std::unique_ptr<char, decltype(&g_free)> m_directory;
    std::string m_path;
    support::Owner<GSocket> m_socket;
};

TEST_F(ConnectionWithoutBusTest, BusThatNeverAnswersHoldsUpNoOtherThread) {
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
