// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The source service that the benchmarks talk to, in a process of its own: every command is done.
#include <gio/gio.h>

#include <cstring>
#include <iostream>

#include "ByHand.h"
#include "Lists.h"

namespace {

constexpr int sources = 10;

GDBusMessage *answer(GDBusConnection *connection, GDBusMessage *message, gboolean incoming,
                     gpointer list) {
    if (incoming == FALSE ||
        g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
        return message;
    }
    const char *request = nullptr;
    g_variant_get_child(g_dbus_message_get_body(message), 3, "&s", &request);
    const char *const text = std::strstr(request, "UtilGetSourceList") != nullptr
                                 ? static_cast<const char *>(list)
                                 : R"({"return_data":true})";
    GDBusMessage *const reply = g_dbus_message_new_method_reply(message);
    g_dbus_message_set_body(reply, g_variant_new("(suss)", "source_service", 0U, "", text));
    g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
    g_object_unref(reply);
    g_object_unref(message);
    return nullptr;
}

}  // namespace

int main() {
    Json::Value fetched;
    fetched["return_data"] = sourceList(sources);
    std::string list = compactText(fetched);
    const Connection connection = sharedConnection();
    g_dbus_connection_add_filter(connection.get(), answer, list.data(), nullptr);
    GVariant *const owned = g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", "source_service.message", 4U), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (owned == nullptr) {
        return 1;
    }
    g_variant_unref(owned);
    std::cout << "ready" << std::endl;
    // Ends with the bus.
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
