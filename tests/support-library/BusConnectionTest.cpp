// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BusConnection.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "MainLoop.h"

namespace {

constexpr auto name = "support.test";
constexpr auto path = "/support/test";
constexpr auto introspection = R"xml(
<node>
  <interface name="support.test">
    <method name="Double">
      <arg name="number" type="u" direction="in"/>
      <arg name="result" type="u" direction="out"/>
    </method>
  </interface>
</node>
)xml";

class BusConnectionTest : public testing::Test {
 protected:
    BusConnectionTest() : m_bus(g_test_dbus_new(G_TEST_DBUS_NONE)) { g_test_dbus_up(m_bus.get()); }
    ~BusConnectionTest() override { g_test_dbus_down(m_bus.get()); }

    std::string address() const { return g_test_dbus_get_bus_address(m_bus.get()); }

    // The result of Double, or the D-Bus error's name.
    static std::string callDouble(GDBusConnection *client, const char *destination) {
        support::Owner<GAsyncResult> result;
        g_dbus_connection_call(
            client, destination, path, name, "Double", g_variant_new("(u)", 21U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            [](GObject *, GAsyncResult *arrived, gpointer to) {
                static_cast<support::Owner<GAsyncResult> *>(to)->reset(
                    static_cast<GAsyncResult *>(g_object_ref(arrived)));
            },
            &result);
        EXPECT_TRUE(
            support::iterateUntil([&] { return result != nullptr; }, std::chrono::minutes(1)));
        g_autoptr(GError) error = nullptr;
        const support::Variant reply(g_dbus_connection_call_finish(client, result.get(), &error));
        if (!reply) {
            g_autofree char *errorName = g_dbus_error_get_remote_error(error);
            return errorName;
        }
        guint32 number = 0;
        g_variant_get(reply.get(), "(u)", &number);
        return std::to_string(number);
    }

 private:
    support::Owner<GTestDBus> m_bus;
};

}  // namespace

TEST_F(BusConnectionTest, EachConnectionHasItsOwnUniqueName) {
    const support::Connection first = support::connectTo(address());
    const support::Connection second = support::connectTo(address());
    EXPECT_STRNE(g_dbus_connection_get_unique_name(first.get()),
                 g_dbus_connection_get_unique_name(second.get()));
}

TEST_F(BusConnectionTest, ConnectingWithoutABusThrows) {
    EXPECT_THROW(support::connectTo("unix:path=/no/such/bus"), std::runtime_error);
}

TEST_F(BusConnectionTest, NameIsOwnedForTheLifetimeOfTheObject) {
    const support::Connection connection = support::connectTo(address());
    {
        const support::OwnedName owned(connection.get(), name);
        EXPECT_TRUE(support::hasOwner(connection.get(), name));
    }
    EXPECT_FALSE(support::hasOwner(connection.get(), name));
}

TEST_F(BusConnectionTest, OwningANameThatIsTakenThrows) {
    const support::Connection first = support::connectTo(address());
    const support::Connection second = support::connectTo(address());
    const support::OwnedName owned(first.get(), name);
    EXPECT_THROW(support::OwnedName(second.get(), name), std::runtime_error);
    EXPECT_TRUE(support::hasOwner(second.get(), name));
}

TEST_F(BusConnectionTest, ExportedObjectHandlesCallsForItsLifetime) {
    const support::Connection service = support::connectTo(address());
    const support::Connection client = support::connectTo(address());
    const char *destination = g_dbus_connection_get_unique_name(service.get());
    std::optional<support::ExportedObject> object(
        std::in_place, service.get(), path, introspection,
        [](const std::string &method, GVariant *arguments, GDBusMethodInvocation *invocation) {
            EXPECT_EQ(method, "Double");
            guint32 number = 0;
            g_variant_get(arguments, "(u)", &number);
            g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", 2 * number));
        });
    EXPECT_EQ(callDouble(client.get(), destination), "42");
    object.reset();
    EXPECT_EQ(callDouble(client.get(), destination), "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(BusConnectionTest, ErrorOfTheBusDriverThrows) {
    const support::Connection connection = support::connectTo(address());
    EXPECT_THROW(support::callBusDriver(connection.get(), "NoSuchMethod", nullptr),
                 std::runtime_error);
}
