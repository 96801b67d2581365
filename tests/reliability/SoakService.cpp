// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SoakService.h"

#include <gio/gio.h>
#include <json/json.h>

#include <atomic>
#include <iostream>
#include <string>

#include "FakeService.h"

namespace {

constexpr int ticksPerSecond = 100;

// One generation of the list; the name is percent-encoded UTF-8.
Json::Value listOf(long generation) {
    Json::Value list(Json::arrayValue);
    for (unsigned int type = 1; type <= soakSources; ++type) {
        Json::Value source;
        source["sourceType"] = type;
        source["editName"] = "S%C3%B6urce%20" + std::to_string(type);
        source["uniqueKey"] = "generation" + std::to_string(generation);
        source["connectionState"] = true;
        list.append(source);
    }
    return list;
}

class Server {
 public:
    Server(long generation, int signalsPerSecond)
        : m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)),
          m_signalsPerTick(std::max(1, signalsPerSecond / ticksPerSecond)),
          m_generation(generation) {
        g_dbus_connection_add_filter(m_connection, filter, this, nullptr);
        GVariant *const owned = g_dbus_connection_call_sync(
            m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "RequestName", g_variant_new("(su)", "source_service.message", 0U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        g_variant_unref(owned);
    }

    void emitForEver() {
        std::cout << "ready" << std::endl;
        g_timeout_add(
            1000 / ticksPerSecond,
            [](gpointer self) -> gboolean {
                static_cast<Server *>(self)->tick();
                return G_SOURCE_CONTINUE;
            },
            this);
        g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    }

 private:
    static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message,
                                gboolean incoming, gpointer self) {
        if (incoming == FALSE ||
            g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
            return message;
        }
        GDBusMessage *const reply = g_dbus_message_new_method_reply(message);
        g_dbus_message_set_body(reply, static_cast<Server *>(self)->answerTo(message));
        g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                       nullptr);
        g_object_unref(reply);
        g_object_unref(message);
        return nullptr;
    }

    GVariant *answerTo(GDBusMessage *message) const {
        const char *text = nullptr;
        g_variant_get_child(g_dbus_message_get_body(message), 3, "&s", &text);
        const Json::Value request = parsedJson(text);
        Json::Value reply;
        if (request["method"] == "UtilGetSourceList") {
            reply["return_data"] = listOf(m_generation);
        } else if (request["method"] == "UtilGetUsbData") {
            reply["deviceName"] = request["data"]["SourceUniqueKey"];
        } else {
            reply["return_data"] = request["data"]["SourceType"].asInt() % 2 != 0;
        }
        return plainBody(jsonText(reply));
    }

    void tick() {
        for (int number = 0; number < m_signalsPerTick; ++number) {
            Json::Value change;
            change["return_data"] = listOf(++m_generation);
            change["data"]["result"] = 1;
            g_dbus_connection_emit_signal(m_connection, nullptr, "/source_service/message",
                                          "source_service.message", "source_api",
                                          plainBody(jsonText(change)), nullptr);
        }
    }

    GDBusConnection *m_connection;
    int m_signalsPerTick;
    std::atomic<long> m_generation;
};

}  // namespace

int serveUnderLoad(long generation, int signalsPerSecond) {
    Server(generation, signalsPerSecond).emitForEver();
    return 0;
}
