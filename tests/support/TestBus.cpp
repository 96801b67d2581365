// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "TestBus.h"

#include <gtest/gtest.h>

#include <chrono>

#include "MainLoop.h"

namespace {

void noteSignal(GDBusConnection * /*connection*/, const char * /*sender*/, const char * /*path*/,
                const char * /*interface*/, const char * /*signal*/, GVariant * /*body*/,
                gpointer seen) {
    *static_cast<bool *>(seen) = true;
}

}  // namespace

TestBus::TestBus() {
    start();
}

TestBus::~TestBus() {
    stop();
}

std::string TestBus::address() const {
    return g_test_dbus_get_bus_address(m_daemon.get());
}

void TestBus::start() {
    m_daemon.reset(g_test_dbus_new(G_TEST_DBUS_NONE));
    g_test_dbus_up(m_daemon.get());
    m_running = true;
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address().c_str(), TRUE);
}

void TestBus::stop() {
    if (m_running) {
        g_test_dbus_stop(m_daemon.get());
        m_running = false;
    }
}

void TestBus::lose() {
    const BusConnection shared = sharedConnection();
    stop();
    EXPECT_TRUE(iterateUntil([&] { return g_dbus_connection_is_closed(shared.get()) != FALSE; }));
}

BusConnection TestBus::connect() const {
    return connectTo(address());
}

BusConnection connectTo(const std::string &address) {
    GError *error = nullptr;
    BusConnection connection(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error));
    EXPECT_NE(connection, nullptr) << error->message;
    g_clear_error(&error);
    return connection;
}

BusConnection sharedConnection() {
    return BusConnection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
}

bool iterateUntil(const std::function<bool()> &done) {
    return support::iterateUntil(done, std::chrono::milliseconds(waitLimit));
}

void letTheBusCatchUp() {
    const support::Variant reply(g_dbus_connection_call_sync(
        sharedConnection().get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, waitLimit,
        nullptr, nullptr));
    ASSERT_NE(reply, nullptr);
}

bool deliverSignalsOf(GDBusConnection *from) {
    // A unique path, so that nested calls in callbacks do not mistake each other's signal.
    static int fences = 0;
    const std::string path = "/test/fence/" + std::to_string(++fences);
    const BusConnection shared = sharedConnection();
    bool seen = false;
    const guint id = g_dbus_connection_signal_subscribe(
        shared.get(), g_dbus_connection_get_unique_name(from), "test.Fence", "Passed", path.c_str(),
        nullptr, G_DBUS_SIGNAL_FLAGS_NONE, noteSignal, &seen, nullptr);
    letTheBusCatchUp();
    g_dbus_connection_emit_signal(from, nullptr, path.c_str(), "test.Fence", "Passed", nullptr,
                                  nullptr);
    const bool delivered = iterateUntil([&] { return seen; });
    g_dbus_connection_signal_unsubscribe(shared.get(), id);
    return delivered;
}
