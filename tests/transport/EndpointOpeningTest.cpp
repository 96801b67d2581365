// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Opening an endpoint, and whether a service is on the bus.
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "EndpointTest.h"
#include "LockState.h"
#include "Threads.h"

using testing::IsEmpty;
using testing::SizeIs;

namespace {

class EndpointOpeningTest : public EndpointTest {};

TEST_F(EndpointOpeningTest, OpeningHoldsTheSharedSystemBusConnection) {
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(peer.isOpen, 1);
    EXPECT_EQ(peer.connection, sharedConnection().get());
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(EndpointOpeningTest, TheProcessOutlivesTheBus) {
    g_dbus_connection_set_exit_on_close(sharedConnection().get(), TRUE);
    open();
    EXPECT_EQ(g_dbus_connection_get_exit_on_close(peer.connection), FALSE);
}

TEST_F(EndpointOpeningTest, OpeningTwiceReturnsOneAndMakesOneConnection) {
    open();
    const auto connectionEnded = endOf(peer.connection);
    GDBusConnection *const connection = peer.connection;
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.CreateDBusServer(), 1);
    EXPECT_EQ(peer.connection, connection);
    endpoint.CloseDBusProxy();
    EXPECT_TRUE(ends(connectionEnded)) << "it held more than one reference";
}

TEST_F(EndpointOpeningTest, AFailureToOpenLeavesItClosed) {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "nonsense", TRUE);
    EXPECT_EQ(endpoint.CreateDBusProxy(), 0);
    expectClosed(endpoint);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(EndpointOpeningTest, AFailureWithoutAnErrorLeavesItClosed) {
    glib.refuseConnections();
    EXPECT_EQ(endpoint.CreateDBusServer(), 0);
    expectClosed(endpoint);
}

TEST_F(EndpointOpeningTest, CanBeOpenedOnceTheBusIsThere) {
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "nonsense", TRUE);
    EXPECT_EQ(endpoint.CreateDBusProxy(), 0);
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), TRUE);
    EXPECT_EQ(endpoint.CreateDBusProxy(), 1);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
}

TEST_F(EndpointOpeningTest, AServiceIsAvailableWhileItsBusNameHasAnOwner) {
    open();
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
    service.releaseName();
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(EndpointOpeningTest, TheProbedNameIsSanitised) {
    const FakeService odd(bus, "an_odd_peer.message");
    open();
    EXPECT_EQ(endpoint.IsServiceAvailable("an odd-peer"), 1);
}

TEST_F(EndpointOpeningTest, TheProbeAsksTheBusDaemon) {
    open();
    endpoint.IsServiceAvailable("source-service");
    const std::vector<BusCall> probes = glib.callsOf("NameHasOwner");
    ASSERT_THAT(probes, SizeIs(1));
    EXPECT_EQ(probes[0].connection, peer.connection);
    EXPECT_EQ(probes[0].busName, "org.freedesktop.DBus");
    EXPECT_EQ(probes[0].path, "/org/freedesktop/DBus");
    EXPECT_EQ(probes[0].interface, "org.freedesktop.DBus");
    EXPECT_EQ(probes[0].body, "('source_service.message',)");
    EXPECT_EQ(probes[0].replyType, "(b)");
    EXPECT_EQ(probes[0].flags, G_DBUS_CALL_FLAGS_NONE);
    EXPECT_EQ(probes[0].timeout, -1);
    EXPECT_EQ(probes[0].cancellable, nullptr);
}

TEST_F(EndpointOpeningTest, NullNameIsNotAvailable) {
    EXPECT_EQ(endpoint.IsServiceAvailable(nullptr), 0);
    open();
    EXPECT_EQ(endpoint.IsServiceAvailable(nullptr), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
    EXPECT_THAT(glib.callsOf("NameHasOwner"), IsEmpty());
}

TEST_F(EndpointOpeningTest, NothingIsAvailableThroughAClosedEndpoint) {
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
}

TEST_F(EndpointOpeningTest, NothingIsAvailableOnALostBus) {
    openOnALostBus();
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(glib.callsOf("NameHasOwner"), IsEmpty());
}

TEST_F(EndpointOpeningTest, AProbeThatFailsFindsNothing) {
    open();
    glib.answerCalls([](GError **error) -> GVariant * {
        g_set_error_literal(error, G_IO_ERROR, 24, "it took too long");
        return nullptr;
    });
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
}

TEST_F(EndpointOpeningTest, AProbeWithoutAReplyFailsSilently) {
    open();
    glib.answerCalls([](GError ** /*error*/) -> GVariant * { return nullptr; });
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 0);
    EXPECT_THAT(platform.log(), IsEmpty());
}

TEST_F(EndpointOpeningTest, TheProbeDoesNotWaitForTheLock) {
    open();
    const LockHolder held(peer.mutex);
    EXPECT_EQ(endpoint.IsServiceAvailable("source_service"), 1);
}

TEST_F(EndpointOpeningTest, OpeningWaitsForTheLock) {
    LockHolder held(peer.mutex);
    auto opening = onThread([&] { return endpoint.CreateDBusProxy(); });
    EXPECT_TRUE(staysBlocked(opening));
    EXPECT_THAT(platform.log(), IsEmpty());
    held.release();
    EXPECT_EQ(opening.get(), 1);
}

TEST_F(EndpointOpeningTest, AnExceptionWhileOpeningReleasesTheLock) {
    throwAtLine("CreateDBusServer");
    EXPECT_THROW(endpoint.CreateDBusProxy(), std::runtime_error);
    EXPECT_TRUE(isFree(peer.mutex));
}

TEST_F(EndpointOpeningTest, ThreadsThatOpenAtOnceShareOneConnection) {
    const auto opener = [&] { return endpoint.CreateDBusProxy(); };
    auto one = onThread(opener);
    auto other = onThread(opener);
    EXPECT_EQ(one.get() + other.get(), 2);
    EXPECT_THAT(platform.logOf("CreateDBusServer"), SizeIs(3)) << "two entries, one success";
}

}  // namespace
