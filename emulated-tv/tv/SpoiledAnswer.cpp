// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SpoiledAnswer.h"

#include "JsonText.h"
#include "MessageBody.h"

namespace emulated_tv {

namespace {

constexpr auto reason = "refused on demand";

Json::Value refusal() {
    Json::Value reply;
    reply["return_data"] = false;
    reply["error"] = reason;
    return reply;
}

std::string spoiledText(FaultKind kind, const std::string &text) {
    Json::Value reply;
    switch (kind) {
        case FaultKind::OtherJson:
            return R"(["an array on demand"])";
        case FaultKind::NoReturnData:
            reply = parseJson(text).value_or(Json::objectValue);
            reply.removeMember("return_data");
            return jsonLine(reply);
        case FaultKind::Refused:
            return jsonLine(refusal());
        case FaultKind::DbusFail:
            reply = refusal();
            reply["dbus_result"] = "fail";
            return jsonLine(reply);
        default:
            return "no JSON on demand";
    }
}

// GDBus itself would not let a body pass that its method does not have.
void answerWithBody(GDBusMethodInvocation *invocation, GVariant *body) {
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

bool leavesUndone(FaultKind kind) {
    return kind >= FaultKind::Refused && kind <= FaultKind::Absent;
}

void answerSpoiled(FaultKind kind, const std::string &text, GDBusMethodInvocation *invocation) {
    switch (kind) {
        case FaultKind::Absent:
            g_object_unref(invocation);
            break;
        case FaultKind::Error:
            g_dbus_method_invocation_return_dbus_error(invocation,
                                                       "org.freedesktop.DBus.Error.Failed", reason);
            break;
        case FaultKind::EmptyBody:
            answerWithBody(invocation, nullptr);
            break;
        case FaultKind::OtherBody:
            answerWithBody(invocation, g_variant_new("(i)", 0));
            break;
        default:
            g_dbus_method_invocation_return_value(
                invocation, answerBody(g_dbus_method_invocation_get_method_name(invocation),
                                       spoiledText(kind, text)));
            break;
    }
}

}  // namespace emulated_tv
