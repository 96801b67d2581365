// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Trace.h"

#include <glib.h>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>

#include "JsonText.h"
#include "TerminalText.h"

namespace emulated_tv {

namespace {

constexpr auto busName = "source_service.message";
constexpr auto changeSignal = "source_api";

std::string textOf(const char *text) {
    return text != nullptr ? text : "";
}

const char *kindOf(GDBusMessage *message) {
    switch (g_dbus_message_get_message_type(message)) {
        case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
            return "call";
        case G_DBUS_MESSAGE_TYPE_METHOD_RETURN:
            return "answer";
        case G_DBUS_MESSAGE_TYPE_ERROR:
            return "error";
        default:
            return "signal";
    }
}

std::string timeText(gint64 microseconds) {
    constexpr gint64 second = 1000000;
    g_autoptr(GDateTime) whole = g_date_time_new_from_unix_utc(microseconds / second);
    g_autoptr(GDateTime) time =
        g_date_time_add(whole, static_cast<GTimeSpan>(microseconds % second));
    g_autofree char *text = g_date_time_format(time, "%Y-%m-%dT%H:%M:%S.%fZ");
    return text;
}

Json::Value bufferOf(GVariant *bytes) {
    gsize size = 0;
    const auto *data =
        static_cast<const guint8 *>(g_variant_get_fixed_array(bytes, &size, sizeof(guint8)));
    constexpr auto digits = "0123456789abcdef";
    std::string hex;
    for (gsize index = 0; index < size; ++index) {
        hex += digits[data[index] >> 4];
        hex += digits[data[index] & 0xf];
    }
    Json::Value buffer;
    buffer["size"] = static_cast<Json::UInt64>(size);
    buffer["hex"] = hex;
    return buffer;
}

void addFields(Json::Value &traced, GVariant *body) {
    const char *sender = nullptr;
    const char *auxiliaryText = nullptr;
    const char *text = nullptr;
    guint32 number = 0;
    g_variant_get_child(body, 0, "&s", &sender);
    g_variant_get_child(body, 1, "u", &number);
    g_variant_get_child(body, 2, "&s", &auxiliaryText);
    g_variant_get_child(body, 3, "&s", &text);
    traced["sender"] = sender;
    traced["number"] = number;
    traced["auxiliaryText"] = auxiliaryText;
    if (const auto json = support::parseJson(text)) {
        traced["json"] = *json;
    } else {
        traced["text"] = text;
    }
}

void addBody(Json::Value &traced, GVariant *body) {
    const bool hasBuffer = g_variant_is_of_type(body, G_VARIANT_TYPE("(sussa(y))")) != FALSE;
    if (hasBuffer || g_variant_is_of_type(body, G_VARIANT_TYPE("(suss)")) != FALSE) {
        addFields(traced, body);
        if (hasBuffer) {
            const support::Variant bytes(g_variant_get_child_value(body, 4));
            traced["buffer"] = bufferOf(bytes.get());
        }
        return;
    }
    g_autofree char *value = g_variant_print(body, FALSE);
    traced["type"] = g_variant_get_type_string(body);
    traced["value"] = value;
}

std::string timeOfDay(const std::string &time) {
    g_autoptr(GDateTime) utc = g_date_time_new_from_iso8601(time.c_str(), nullptr);
    g_autoptr(GDateTime) local = g_date_time_to_local(utc);
    g_autofree char *text = g_date_time_format(local, "%H:%M:%S.%f");
    return std::string(text).substr(0, 12);
}

std::string bufferText(const Json::Value &buffer) {
    constexpr std::size_t shown = 64;
    const std::string hex = buffer["hex"].asString();
    const std::string rest = hex.size() > shown ? "..." : "";
    return " buffer of " + buffer["size"].asString() + ": " + hex.substr(0, shown) + rest;
}

std::string bodyText(const Json::Value &traced) {
    if (traced.isMember("error")) {
        return traced["error"].asString() + ": " + traced["text"].asString();
    }
    if (traced.isMember("type")) {
        return traced["type"].asString() + " " + traced["value"].asString();
    }
    std::string text = support::jsonLineUtf8(traced["sender"]) + " " + traced["number"].asString() +
                       " " + support::jsonLineUtf8(traced["auxiliaryText"]) + " ";
    text += traced.isMember("json") ? support::jsonLineUtf8(traced["json"])
                                    : "not JSON: " + support::jsonLineUtf8(traced["text"]);
    return traced.isMember("buffer") ? text + bufferText(traced["buffer"]) : text;
}

}  // namespace

Monitor::Monitor(const std::string &busAddress) : m_connection(support::connectTo(busAddress)) {
    // The filter shares ownership: GLib's thread may still run it after it was removed.
    m_filter = g_dbus_connection_add_filter(
        m_connection.get(), filter, new std::shared_ptr<Inbox>(m_inbox),
        [](gpointer inbox) { delete static_cast<std::shared_ptr<Inbox> *>(inbox); });
    m_closedHandler =
        g_signal_connect(m_connection.get(), "closed",
                         G_CALLBACK(+[](GDBusConnection *, gboolean, GError *, gpointer isClosed) {
                             *static_cast<bool *>(isClosed) = true;
                         }),
                         &m_isClosed);
    g_autoptr(GError) error = nullptr;
    const support::Variant reply(g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus.Monitoring", "BecomeMonitor", g_variant_new("(asu)", nullptr, 0U),
        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    if (!reply) {
        throw std::runtime_error(std::string("the bus cannot be watched: ") + error->message);
    }
}

Monitor::~Monitor() {
    g_dbus_connection_remove_filter(m_connection.get(), m_filter);
    g_signal_handler_disconnect(m_connection.get(), m_closedHandler);
}

std::optional<MonitoredMessage> Monitor::next() {
    std::optional<MonitoredMessage> message;
    while (!(message = nextIfAny()) && !m_isClosed) {
        g_main_context_iteration(nullptr, TRUE);
    }
    // A message may have arrived between the last check and the closing.
    return message ? std::move(message) : nextIfAny();
}

std::optional<MonitoredMessage> Monitor::nextIfAny() {
    const std::lock_guard<std::mutex> lock(m_inbox->mutex);
    if (m_inbox->messages.empty()) {
        return std::nullopt;
    }
    std::optional<MonitoredMessage> message(std::move(m_inbox->messages.front()));
    m_inbox->messages.pop_front();
    return message;
}

// Drops messages for other connections: GDBus would reply to their calls.
GDBusMessage *Monitor::filter(GDBusConnection *connection, GDBusMessage *message,
                              gboolean isIncoming, gpointer data) {
    const bool isForThisConnection = g_strcmp0(g_dbus_message_get_destination(message),
                                               g_dbus_connection_get_unique_name(connection)) == 0;
    if (isIncoming == FALSE || isForThisConnection) {
        return message;
    }
    Inbox &inbox = **static_cast<std::shared_ptr<Inbox> *>(data);
    {
        const std::lock_guard<std::mutex> lock(inbox.mutex);
        inbox.messages.push_back({g_get_real_time(), {}});
        inbox.messages.back().message.reset(message);
    }
    g_main_context_wakeup(nullptr);
    return nullptr;
}

std::optional<Json::Value> MessageDecoder::decode(const MonitoredMessage &monitored) {
    GDBusMessage *message = monitored.message.get();
    const auto member = memberOf(message);
    if (!member) {
        return std::nullopt;
    }
    Json::Value traced;
    traced["time"] = timeText(monitored.time);
    traced["kind"] = kindOf(message);
    traced["from"] = textOf(g_dbus_message_get_sender(message));
    traced["member"] = *member;
    traced["serial"] = g_dbus_message_get_serial(message);
    if (const char *destination = g_dbus_message_get_destination(message)) {
        traced["to"] = destination;
    }
    if (const char *error = g_dbus_message_get_error_name(message)) {
        traced["error"] = error;
        traced["text"] = textOf(g_dbus_message_get_arg0(message));
    } else if (GVariant *body = g_dbus_message_get_body(message)) {
        addBody(traced, body);
    } else {
        traced["type"] = "()";
        traced["value"] = "()";
    }
    return traced;
}

// Empty for a message of other services.
std::optional<std::string> MessageDecoder::memberOf(GDBusMessage *message) {
    const std::string member = textOf(g_dbus_message_get_member(message));
    const bool isOfService = textOf(g_dbus_message_get_interface(message)) == busName;
    switch (g_dbus_message_get_message_type(message)) {
        case G_DBUS_MESSAGE_TYPE_METHOD_CALL:
            if (!isOfService && textOf(g_dbus_message_get_destination(message)) != busName) {
                return std::nullopt;
            }
            if ((g_dbus_message_get_flags(message) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) == 0) {
                m_openCalls[{textOf(g_dbus_message_get_sender(message)),
                             g_dbus_message_get_serial(message)}] = member;
            }
            return member;
        case G_DBUS_MESSAGE_TYPE_SIGNAL:
            return isOfService || member == changeSignal ? std::optional(member) : std::nullopt;
        default: {
            auto call = m_openCalls.extract({textOf(g_dbus_message_get_destination(message)),
                                             g_dbus_message_get_reply_serial(message)});
            return call ? std::optional(call.mapped()) : std::nullopt;
        }
    }
}

std::string traceLine(const Json::Value &traced) {
    std::string kind = traced["kind"].asString();
    kind.resize(6, ' ');
    return support::printable(timeOfDay(traced["time"].asString()) + " " + kind + " " +
                              traced["from"].asString() + " -> " +
                              traced.get("to", "*").asString() + " " + traced["member"].asString() +
                              " " + bodyText(traced));
}

int trace(const std::string &busAddress, const TraceOptions &options) {
    Monitor monitor(busAddress);
    std::cerr << "tracing" << std::endl;
    MessageDecoder decoder;
    std::uint32_t shown = 0;
    while (!options.count || shown < *options.count) {
        const auto message = monitor.next();
        if (!message && !options.count) {
            break;
        }
        if (!message) {
            throw std::runtime_error("the TV ended after " + std::to_string(shown) + " of " +
                                     std::to_string(*options.count) + " messages");
        }
        if (const auto traced = decoder.decode(*message)) {
            std::cout << (options.asJson ? support::jsonLine(*traced) : traceLine(*traced))
                      << std::endl;
            ++shown;
        }
    }
    return EXIT_SUCCESS;
}

}  // namespace emulated_tv
