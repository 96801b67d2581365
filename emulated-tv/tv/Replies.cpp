// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Replies.h"

#include "JsonText.h"

namespace emulated_tv {

namespace {

constexpr auto ownName = "source_service";

// A body type with a buffer represents an empty one by a single zero byte.
GVariant *bodyWithEmptyBuffer(const std::string &text) {
    GVariantBuilder buffer;
    g_variant_builder_init(&buffer, G_VARIANT_TYPE("a(y)"));
    g_variant_builder_add(&buffer, "(y)", 0);
    return g_variant_new("(sussa(y))", ownName, 0U, "", text.c_str(), &buffer);
}

constexpr auto reason = "refused on demand";

Json::Value refusal() {
    Json::Value reply;
    reply["return_data"] = false;
    reply["error"] = reason;
    return reply;
}

std::string faultyText(FaultKind kind, const std::string &text) {
    Json::Value reply;
    switch (kind) {
        case FaultKind::OtherJson:
            return R"(["an array on demand"])";
        case FaultKind::NoReturnData:
            reply = support::parseJson(text).value_or(Json::objectValue);
            reply.removeMember("return_data");
            return support::jsonLine(reply);
        case FaultKind::Refused:
            return support::jsonLine(refusal());
        case FaultKind::DbusFail:
            reply = refusal();
            reply["dbus_result"] = "fail";
            return support::jsonLine(reply);
        default:
            return "no JSON on demand";
    }
}

// Sends the message itself: GDBus rejects a reply whose type is not the declared one.
void replyWithBody(GDBusMethodInvocation *invocation, GVariant *body) {
    g_autoptr(GDBusMessage) reply =
        g_dbus_message_new_method_reply(g_dbus_method_invocation_get_message(invocation));
    if (body != nullptr) {
        g_dbus_message_set_body(reply, body);
    }
    g_dbus_connection_send_message(g_dbus_method_invocation_get_connection(invocation), reply,
                                   G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_object_unref(invocation);
}

}  // namespace

GVariant *plainBody(const std::string &text) {
    return g_variant_new("(suss)", ownName, 0U, "", text.c_str());
}

GVariant *replyBody(const std::string &method, const std::string &text) {
    return method == "SendMessage" ? plainBody(text) : bodyWithEmptyBuffer(text);
}

void replyWithFault(FaultKind kind, const std::string &text, GDBusMethodInvocation *invocation) {
    switch (kind) {
        case FaultKind::Absent:
            g_object_unref(invocation);
            break;
        case FaultKind::Error:
            g_dbus_method_invocation_return_dbus_error(invocation,
                                                       "org.freedesktop.DBus.Error.Failed", reason);
            break;
        case FaultKind::EmptyBody:
            replyWithBody(invocation, nullptr);
            break;
        case FaultKind::OtherBody:
            replyWithBody(invocation, g_variant_new("(i)", 0));
            break;
        default:
            g_dbus_method_invocation_return_value(
                invocation, replyBody(g_dbus_method_invocation_get_method_name(invocation),
                                      faultyText(kind, text)));
            break;
    }
}

void DelayedReplies::send(std::chrono::milliseconds delay, GDBusMethodInvocation *invocation,
                          GVariant *body) {
    const auto reply = m_replies.emplace(m_replies.end());
    reply->invocation.reset(invocation);
    reply->body.reset(g_variant_ref_sink(body));
    reply->timer.start(delay, [this, reply] {
        g_dbus_method_invocation_return_value(reply->invocation.release(), reply->body.get());
        m_replies.erase(reply);
    });
}

}  // namespace emulated_tv
