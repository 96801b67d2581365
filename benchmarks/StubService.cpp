// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The source service of the benchmarks. Every command succeeds.
#include <cstring>
#include <iostream>

#include "BusConnection.h"
#include "JsonText.h"
#include "ServiceData.h"

namespace {

constexpr int sources = 10;

GDBusMessage *reply(GDBusConnection *connection, GDBusMessage *message, gboolean incoming,
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
    const support::Message call(message);
    const support::Message response(g_dbus_message_new_method_reply(message));
    g_dbus_message_set_body(response.get(),
                            g_variant_new("(suss)", "source_service", 0U, "", text));
    g_dbus_connection_send_message(connection, response.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                   nullptr, nullptr);
    return nullptr;
}

}  // namespace

int main() {
    Json::Value fetched;
    fetched["return_data"] = bench::sourceList(sources);
    std::string list = support::jsonLine(fetched);
    const support::Connection connection = support::sharedSystemBus();
    g_dbus_connection_add_filter(connection.get(), reply, list.data(), nullptr);
    const support::OwnedName name(connection.get(), "source_service.message");
    std::cout << "ready" << std::endl;
    // Exits when the connection to the bus is closed.
    g_dbus_connection_set_exit_on_close(connection.get(), TRUE);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
