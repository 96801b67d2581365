// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "BusConnection.h"

#include <stdexcept>
#include <utility>

namespace support {

namespace {

Variant callDriver(GDBusConnection *connection, const char *method, GVariant *arguments,
                   GError **error) {
    return Variant(g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
        arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, error));
}

void onMethodCall(GDBusConnection *, const gchar *, const gchar *, const gchar *,
                  const gchar *method, GVariant *arguments, GDBusMethodInvocation *invocation,
                  gpointer handler) {
    (*static_cast<ExportedObject::Handler *>(handler))(method, arguments, invocation);
}

}  // namespace

Connection connectTo(const std::string &address) {
    constexpr auto flags =
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    g_autoptr(GError) error = nullptr;
    Connection connection(
        g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, nullptr, &error));
    if (!connection) {
        throw std::runtime_error(error->message);
    }
    return connection;
}

Connection sharedSystemBus() {
    g_autoptr(GError) error = nullptr;
    Connection connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    if (!connection) {
        throw std::runtime_error(error->message);
    }
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    return connection;
}

std::string systemBusAddress() {
    g_autoptr(GError) error = nullptr;
    g_autofree char *address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (address == nullptr) {
        throw std::runtime_error(error->message);
    }
    return address;
}

Variant callBusDriver(GDBusConnection *connection, const char *method, GVariant *arguments) {
    g_autoptr(GError) error = nullptr;
    Variant reply = callDriver(connection, method, arguments, &error);
    if (!reply) {
        throw std::runtime_error(error->message);
    }
    return reply;
}

bool hasOwner(GDBusConnection *connection, const std::string &name) {
    const Variant reply =
        callBusDriver(connection, "NameHasOwner", g_variant_new("(s)", name.c_str()));
    gboolean owned = FALSE;
    g_variant_get(reply.get(), "(b)", &owned);
    return owned != FALSE;
}

ExportedObject::ExportedObject(GDBusConnection *connection, const char *path,
                               const char *introspection, Handler handler)
    : m_connection(connection), m_handler(std::move(handler)) {
    static const GDBusInterfaceVTable vtable = {onMethodCall, nullptr, nullptr, {}};
    g_autoptr(GError) error = nullptr;
    const Owner<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(introspection, &error));
    if (node) {
        m_id = g_dbus_connection_register_object(connection, path, node->interfaces[0], &vtable,
                                                 &m_handler, nullptr, &error);
    }
    if (m_id == 0) {
        throw std::runtime_error(error->message);
    }
}

ExportedObject::~ExportedObject() {
    g_dbus_connection_unregister_object(m_connection, m_id);
}

OwnedName::OwnedName(GDBusConnection *connection, const char *name)
    : m_connection(connection), m_name(name) {
    constexpr guint32 doNotQueue = 4;
    constexpr guint32 isOwner = 1;
    const Variant reply =
        callBusDriver(connection, "RequestName", g_variant_new("(su)", name, doNotQueue));
    guint32 result = 0;
    g_variant_get(reply.get(), "(u)", &result);
    if (result != isOwner) {
        throw std::runtime_error("the name " + std::string(name) + " is taken on this bus");
    }
}

// Fails only when the connection is closed, and then the bus has released the name itself.
OwnedName::~OwnedName() {
    callDriver(m_connection, "ReleaseName", g_variant_new("(s)", m_name), nullptr);
}

}  // namespace support
