// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <memory>

#include "ObjectLayout.h"
#include "TransportTest.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;
using testing::SizeIs;

namespace {

constexpr auto otherKind = static_cast<SourceTCServer::SourceTCServerType>(1);

void ignoreSignal(const char * /*sender*/, const char * /*signalName*/,
                  SourceTCMessage * /*message*/, void * /*userData*/) {}

// Kept by the program, so that GLib's threads see it whole: they start later.
std::promise<void> connectionGone;

// Ready once GLib has let go of the connection.
std::future<void> endOf(GDBusConnection *connection) {
    g_object_weak_ref(
        G_OBJECT(connection),
        [](gpointer /*unused*/, GObject * /*gone*/) { connectionGone.set_value(); }, nullptr);
    return connectionGone.get_future();
}

class EndpointTest : public TransportTest {
 protected:
    static void expectClosed(const SourceTCServer &server) {
        EXPECT_EQ(server.m_Connection, nullptr);
        EXPECT_EQ(server.m_Created, 0);
        EXPECT_THAT(server.m_SignalControls, IsEmpty());
    }

    auto closeLines(const std::string &name) {
        return ElementsAre(Info("close " + name + " begin"),
                           Info("waiting all send message/signal finished 0d"),
                           Info("all send message/signal finished"),
                           Info("close connection and all close motion finished"));
    }
};

// Construction

TEST_F(EndpointTest, ANewOneIsClosedAndHasNothing) {
    EXPECT_EQ(endpoint.m_ServerType, SourceTCServer::PROXY);
    EXPECT_EQ(endpoint.m_ServerName, "source_api");
    EXPECT_EQ(endpoint.m_BusName, "source_api.message");
    EXPECT_EQ(endpoint.m_ExtraName, "");
    EXPECT_EQ(endpoint.m_Reserved, 0U);
    EXPECT_EQ(endpoint.m_OwnerId, 0U);
    EXPECT_EQ(endpoint.m_RegistrationId, 0U);
    EXPECT_EQ(endpoint.m_IntrospectionData, nullptr);
    EXPECT_EQ(endpoint.m_SendCount, 0U);
    expectClosed(endpoint);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(EndpointTest, TheProxyKindIsTwoAndAnyOtherNumberIsStoredAsGiven) {
    static_assert(SourceTCServer::PROXY == 2);
    static_assert(std::is_same_v<std::underlying_type_t<SourceTCServer::SourceTCServerType>, int>);
    const SourceTCServer odd("odd", static_cast<SourceTCServer::SourceTCServerType>(-77));
    EXPECT_EQ(odd.m_ServerType, -77);
}

TEST_F(EndpointTest, ItsOwnNamesAreKeptAsGiven) {
    const SourceTCServer odd("an odd-name", SourceTCServer::PROXY);
    EXPECT_EQ(odd.m_ServerName, "an odd-name");
    EXPECT_EQ(odd.m_BusName, "an odd-name.message");
}

TEST_F(EndpointTest, TheRegistryOfEndpointsIsLeftEmpty) {
    open();
    EXPECT_THAT(SourceTCServer::m_CreatedDbusServers, IsEmpty());
}

// Naming

TEST_F(EndpointTest, ANameOfLettersDigitsUnderscoresAndDotsStays) {
    for (const std::string plain : {"source_service.message", "AZaz09_.", ".", "x"}) {
        std::string name = plain;
        EXPECT_EQ(endpoint.m_FormatString(name), 0) << plain;
        EXPECT_EQ(name, plain);
    }
}

TEST_F(EndpointTest, HyphenAndBlankBecomeUnderscores) {
    std::string name = "a-b c.message";
    EXPECT_EQ(endpoint.m_FormatString(name), 1);
    EXPECT_EQ(name, "a_b_c.message");
}

TEST_F(EndpointTest, AnEmptyNameStays) {
    std::string name;
    EXPECT_EQ(endpoint.m_FormatString(name), 0);
    EXPECT_EQ(name, "");
}

TEST_F(EndpointTest, EveryOtherByteBecomesAnUnderscore) {
    const std::string allowed = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz.";
    for (int byte = 0; byte < 256; ++byte) {
        const auto character = static_cast<char>(byte);
        const bool stays = allowed.find(character) != std::string::npos;
        std::string name{'a', character, 'z'};
        EXPECT_EQ(endpoint.m_FormatString(name), stays ? 0 : 1) << byte;
        EXPECT_EQ(name, (std::string{'a', stays ? character : '_', 'z'})) << byte;
    }
}

TEST_F(EndpointTest, FirstAndLastCharacterAreReplacedToo) {
    std::string name = "-é-";
    EXPECT_EQ(endpoint.m_FormatString(name), 1);
    EXPECT_EQ(name, "____") << "one for each byte";
}

// Opening

TEST_F(EndpointTest, OpeningHoldsTheSharedSystemBusConnection) {
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.m_Created, 1);
    EXPECT_EQ(endpoint.m_Connection, sharedConnection().get());
    EXPECT_THAT(
        platform.log(),
        ElementsAre(
            AllOf(Info("m_CreateDBus type: 2"), From("SourceTCServer.cpp", "CreateDBusServer")),
            AllOf(Info("Get dbus connection success : " + pointerText(endpoint.m_Connection)),
                  From("SourceTCServer.cpp", "CreateDBusServer"))));
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(EndpointTest, TheProcessOutlivesTheBus) {
    g_dbus_connection_set_exit_on_close(sharedConnection().get(), TRUE);
    open();
    EXPECT_EQ(g_dbus_connection_get_exit_on_close(endpoint.m_Connection), FALSE);
}

TEST_F(EndpointTest, OpeningTwiceReturnsOneAndMakesOneConnection) {
    open();
    const auto connectionEnded = endOf(endpoint.m_Connection);
    GDBusConnection *const connection = endpoint.m_Connection;
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.CreateDBusServer(), 1);
    EXPECT_EQ(endpoint.m_Connection, connection);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_CreateDBus type: 2"), Info("m_CreateDBus type: 2")));
    endpoint.CloseDBusProxy();
    EXPECT_TRUE(ends(connectionEnded)) << "it held more than one reference";
}

TEST_F(EndpointTest, AFailureToOpenIsLoggedWithItsError) {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "nonsense", TRUE);
    GError *failure = nullptr;
    EXPECT_EQ(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure), nullptr);
    const std::unique_ptr<GError, decltype(&g_error_free)> error(failure, g_error_free);
    EXPECT_EQ(endpoint.CreateDBusProxy(), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_CreateDBus type: 2"), Error("get dbus connection fail!"),
                            Error("(" + std::string(error->message) + " " +
                                  std::to_string(error->code) + ")")));
    expectClosed(endpoint);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(EndpointTest, AFailureWithoutAnErrorIsLoggedInOneLine) {
    glib.refuseConnections();
    EXPECT_EQ(endpoint.CreateDBusServer(), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("m_CreateDBus type: 2"), Error("get dbus connection fail!")));
    expectClosed(endpoint);
}

TEST_F(EndpointTest, CanBeOpenedOnceTheBusIsThere) {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "nonsense", TRUE);
    EXPECT_EQ(endpoint.CreateDBusProxy(), 0);
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), TRUE);
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
}

// Probing

TEST_F(EndpointTest, AServiceIsAvailableWhileItsBusNameHasAnOwner) {
    open();
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
    service.releaseName();
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(EndpointTest, TheProbedNameIsSanitised) {
    const FakeService odd(bus, "an_odd_peer.message");
    open();
    EXPECT_EQ(endpoint.IsServiceAvailable("an odd-peer"), 1);
}

TEST_F(EndpointTest, TheProbeAsksTheBusDaemon) {
    open();
    endpoint.IsServiceAvailable("source-service");
    const std::vector<BusCall> probes = glib.callsOf("NameHasOwner");
    ASSERT_THAT(probes, SizeIs(1));
    EXPECT_EQ(probes[0].connection, endpoint.m_Connection);
    EXPECT_EQ(probes[0].busName, "org.freedesktop.DBus");
    EXPECT_EQ(probes[0].path, "/org/freedesktop/DBus");
    EXPECT_EQ(probes[0].interface, "org.freedesktop.DBus");
    EXPECT_EQ(probes[0].body, "('source_service.message',)");
    EXPECT_EQ(probes[0].replyType, "(b)");
    EXPECT_EQ(probes[0].flags, G_DBUS_CALL_FLAGS_NONE);
    EXPECT_EQ(probes[0].timeout, -1);
    EXPECT_EQ(probes[0].cancellable, nullptr);
}

TEST_F(EndpointTest, NoNameIsNotAvailableAndNotLogged) {
    EXPECT_EQ(endpoint.IsServiceAvailable(nullptr), 0);
    open();
    EXPECT_EQ(endpoint.IsServiceAvailable(nullptr), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
    EXPECT_THAT(glib.callsOf("NameHasOwner"), IsEmpty());
}

TEST_F(EndpointTest, NothingIsAvailableThroughAClosedEndpoint) {
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(AllOf(Error("dbus connection is not open"),
                                  From("SourceTCServer.cpp", "IsServiceAvailable"))));
}

TEST_F(EndpointTest, NothingIsAvailableOnALostBus) {
    openOnALostBus();
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(), ElementsAre(Error("dbus connection is not open")));
    EXPECT_THAT(glib.callsOf("NameHasOwner"), IsEmpty());
}

TEST_F(EndpointTest, AProbeThatFailsIsLoggedWithItsError) {
    open();
    glib.answerCalls([](GError **error) -> GVariant * {
        g_set_error_literal(error, G_IO_ERROR, 24, "it took too long");
        return nullptr;
    });
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(),
                ElementsAre(AllOf(Error("sync call fail (it took too long, 24)"),
                                  From("SourceTCServer.cpp", "IsServiceAvailable"))));
}

TEST_F(EndpointTest, AProbeWithoutAnyAnswerFailsSilently) {
    open();
    glib.answerCalls([](GError ** /*error*/) -> GVariant * { return nullptr; });
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(EndpointTest, TheProbeDoesNotWaitForTheLock) {
    open();
    const HeldElsewhere held(endpoint.m_Mutex);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
}

// Closing

TEST_F(EndpointTest, ClosingReleasesTheConnection) {
    open();
    const auto connectionEnded = endOf(endpoint.m_Connection);
    endpoint.CloseDBusProxy();
    EXPECT_THAT(platform.log(), closeLines("source_api"));
    EXPECT_THAT(platform.log(), Each(From("SourceTCServer.cpp", "CloseDBusServer")));
    expectClosed(endpoint);
    EXPECT_TRUE(ends(connectionEnded));
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(EndpointTest, ClosingLeavesTheSharedConnectionOpenForOthers) {
    open();
    const BusConnection shared = sharedConnection();
    endpoint.CloseDBusServer();
    EXPECT_EQ(g_dbus_connection_is_closed(shared.get()), FALSE);
}

TEST_F(EndpointTest, ClosingOneThatWasNeverOpenedOnlyLogs) {
    endpoint.CloseDBusProxy();
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("close source_api begin"), Info("source_api has closed.")));
    expectClosed(endpoint);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(EndpointTest, ClosingWithoutAConnectionChangesNothing) {
    endpoint.m_Created = 1;
    endpoint.m_OwnerId = 5;
    endpoint.m_SendCount = 3;
    endpoint.CloseDBusProxy();
    EXPECT_EQ(endpoint.m_Created, 1);
    EXPECT_EQ(endpoint.m_OwnerId, 5U);
    EXPECT_EQ(endpoint.m_SendCount, 3U);
}

TEST_F(EndpointTest, ClosingTwiceOnlyLogsTheSecondTime) {
    open();
    endpoint.CloseDBusProxy();
    platform.clearLog();
    endpoint.CloseDBusProxy();
    EXPECT_THAT(platform.log(),
                ElementsAre(Info("close source_api begin"), Info("source_api has closed.")));
}

TEST_F(EndpointTest, CanBeOpenedAgainOnceClosed) {
    open();
    endpoint.CloseDBusProxy();
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.m_Created, 1);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
}

TEST_F(EndpointTest, ClosingWorksOnALostBus) {
    openOnALostBus();
    ASSERT_EQ(endpoint.SubscribeSignal("source_api", ignoreSignal, nullptr), 0);
    platform.clearLog();
    endpoint.CloseDBusProxy();
    EXPECT_THAT(platform.log(), closeLines("source_api"));
    expectClosed(endpoint);
}

TEST_F(EndpointTest, ALostConnectionIsNotMadeAgain) {
    openOnALostBus();
    GDBusConnection *const lost = endpoint.m_Connection;
    bus.start();
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.m_Connection, lost);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
}

TEST_F(EndpointTest, ClosingEndsEverySubscription) {
    open();
    for (const char *name : {"first", "second"}) {
        ASSERT_EQ(endpoint.SubscribeSignal(name, ignoreSignal, nullptr), 1);
    }
    endpoint.m_SignalControls["without a record"] = nullptr;
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
}

TEST_F(EndpointTest, ClosingOneOfAnotherKindRemovesItsOwnNameFromTheRegistry) {
    auto &registry = SourceTCServer::m_CreatedDbusServers;
    SourceTCServer server("server", otherKind);
    registry["server"] = &server;
    registry["another"] = nullptr;
    ASSERT_EQ(server.CreateDBusServer(), 1);
    EXPECT_THAT(platform.log(), Contains(Info("m_CreateDBus type: 1")));
    server.CloseDBusServer();
    expectClosed(server);
    EXPECT_THAT(registry, ElementsAre(Key("another")));
    registry.clear();
}

TEST_F(EndpointTest, ClosingAProxyLeavesTheRegistryAlone) {
    auto &registry = SourceTCServer::m_CreatedDbusServers;
    registry["source_api"] = &endpoint;
    open();
    endpoint.CloseDBusProxy();
    expectClosed(endpoint);
    EXPECT_THAT(registry, ElementsAre(Key("source_api")));
    registry.clear();
}

TEST_F(EndpointTest, ClosingGivesBackNameObjectAndDescription) {
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
    endpoint.m_IntrospectionData = nodes;
    endpoint.m_RegistrationId = registerObject();
    ASSERT_NE(endpoint.m_RegistrationId, 0U);
    bool owned = false;
    endpoint.m_OwnerId = g_bus_own_name_on_connection(
        shared.get(), "test_server.message", G_BUS_NAME_OWNER_FLAGS_NONE,
        [](GDBusConnection * /*connection*/, const char * /*name*/, gpointer done) {
            *static_cast<bool *>(done) = true;
        },
        nullptr, &owned, nullptr);
    ASSERT_TRUE(iterateUntil([&] { return owned; }));
    ASSERT_EQ(endpoint.IsServiceAvailable("test_server"), 1);

    endpoint.CloseDBusServer();
    EXPECT_EQ(endpoint.m_OwnerId, 0U);
    EXPECT_EQ(endpoint.m_RegistrationId, 0U);
    EXPECT_EQ(endpoint.m_IntrospectionData, nullptr);
    EXPECT_EQ(nodes->ref_count, 1) << "the test's own reference is left";
    const guint again = registerObject();
    EXPECT_NE(again, 0U);
    g_dbus_connection_unregister_object(shared.get(), again);
    g_dbus_node_info_unref(nodes);
    ASSERT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.IsServiceAvailable("test_server"), 0);
}

// The lock

TEST_F(EndpointTest, OpeningWaitsForTheLock) {
    HeldElsewhere held(endpoint.m_Mutex);
    auto opening = onThread([&] { return endpoint.CreateDBusProxy(); });
    EXPECT_TRUE(staysBlocked(opening));
    EXPECT_THAT(platform.log(), IsEmpty());
    held.release();
    EXPECT_EQ(opening.get(), 1);
}

TEST_F(EndpointTest, ClosingWaitsForTheLockAfterItsFirstLine) {
    open();
    HeldElsewhere held(endpoint.m_Mutex);
    const auto closing = onThread([&] { endpoint.CloseDBusProxy(); });
    EXPECT_TRUE(staysBlocked(closing));
    EXPECT_THAT(platform.log(), ElementsAre(Info("close source_api begin")));
    held.release();
    EXPECT_TRUE(ends(closing));
    expectClosed(endpoint);
}

TEST_F(EndpointTest, AnExceptionWhileOpeningReleasesTheLock) {
    throwAtLine("m_CreateDBus type");
    EXPECT_THROW(endpoint.CreateDBusProxy(), std::runtime_error);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(EndpointTest, AnExceptionWhileClosingReleasesTheLock) {
    open();
    throwAtLine("waiting all send");
    EXPECT_THROW(endpoint.CloseDBusProxy(), std::runtime_error);
    EXPECT_TRUE(isFree(endpoint.m_Mutex));
}

TEST_F(EndpointTest, ThreadsThatOpenAtOnceShareOneConnection) {
    const auto opener = [&] { return endpoint.CreateDBusProxy(); };
    auto one = onThread(opener);
    auto other = onThread(opener);
    EXPECT_EQ(one.get() + other.get(), 2);
    EXPECT_THAT(platform.logOf("CreateDBusServer"), SizeIs(3)) << "two entries, one success";
}

// Destruction

TEST_F(EndpointTest, DestructionDoesNotCloseTheConnection) {
    auto abandoned = std::make_unique<SourceTCServer>("abandoned", SourceTCServer::PROXY);
    ASSERT_EQ(abandoned->CreateDBusProxy(), 1);
    const BusConnection reference(abandoned->m_Connection);
    platform.clearLog();
    abandoned.reset();
    EXPECT_EQ(g_dbus_connection_is_closed(reference.get()), FALSE);
    EXPECT_THAT(platform.log(),
                ElementsAre(AllOf(Error(""), From("SourceTCHandler.cpp", "Destroy"))))
        << "its lock only";
}

TEST_F(EndpointTest, DestructionLeavesTheRecordsOfSubscriptionsAlone) {
    auto abandoned = std::make_unique<SourceTCServer>("abandoned", SourceTCServer::PROXY);
    ASSERT_EQ(abandoned->CreateDBusProxy(), 1);
    const BusConnection reference(abandoned->m_Connection);
    ASSERT_EQ(abandoned->SubscribeSignal("abandoned", ignoreSignal, nullptr), 1);
    const std::unique_ptr<SourceTCServer::STSignalControl> record(
        abandoned->m_SignalControls.at("abandoned"));
    abandoned.reset();
    EXPECT_EQ(record->signalName, "abandoned") << "the record is the test's to release";
    g_dbus_connection_signal_unsubscribe(reference.get(), record->subscriptionId);
}

// What applications are compiled against

TEST_F(EndpointTest, ItsVirtualOperationsAreTheDestructor) {
    expectVirtualOperations(endpoint, {"_ZN14SourceTCServerD1Ev", "_ZN14SourceTCServerD0Ev"});
}

TEST_F(EndpointTest, ItsMembersLieInOrder) {
    EXPECT_TRUE(areInOrder(&endpoint.m_ServerType, &endpoint.m_Created, &endpoint.m_ServerName,
                           &endpoint.m_BusName, &endpoint.m_ExtraName, &endpoint.m_Reserved,
                           &endpoint.m_Connection, &endpoint.m_OwnerId, &endpoint.m_RegistrationId,
                           &endpoint.m_IntrospectionData, &endpoint.m_SignalControls,
                           &endpoint.m_Mutex, &endpoint.m_SendCount));
}

TEST_F(EndpointTest, ASubscriptionsFieldsLieInOrder) {
    const SourceTCServer::STSignalControl control{};
    EXPECT_TRUE(areInOrder(&control.signalName, &control.callback, &control.userData,
                           &control.subscriptionId));
}

}  // namespace
