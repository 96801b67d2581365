// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Conversation.h"

#include "JsonText.h"

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
    if (const auto json = parseJson(text)) {
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

}  // namespace

std::optional<Json::Value> Conversation::follow(const Passing &passing) {
    GDBusMessage *message = passing.message.get();
    const auto member = memberOf(message);
    if (!member) {
        return std::nullopt;
    }
    Json::Value traced;
    traced["time"] = timeText(passing.time);
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

// Nothing when the message does not belong here.
std::optional<std::string> Conversation::memberOf(GDBusMessage *message) {
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

}  // namespace emulated_tv
