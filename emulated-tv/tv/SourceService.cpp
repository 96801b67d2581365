// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceService.h"

#include "JsonText.h"

namespace emulated_tv {

namespace {

constexpr auto busName = "source_service.message";
constexpr auto objectPath = "/source_service/message";
constexpr auto changeSignal = "source_api";

constexpr auto introspection = R"xml(
<node>
  <interface name="source_service.message">
    <method name="SendMessage">
      <arg name="sender" type="s" direction="in"/>
      <arg name="number" type="u" direction="in"/>
      <arg name="auxiliary_text" type="s" direction="in"/>
      <arg name="request" type="s" direction="in"/>
      <arg name="replier" type="s" direction="out"/>
      <arg name="reply_number" type="u" direction="out"/>
      <arg name="reply_auxiliary_text" type="s" direction="out"/>
      <arg name="reply" type="s" direction="out"/>
    </method>
    <method name="SendMessageWithBuffer">
      <arg name="sender" type="s" direction="in"/>
      <arg name="number" type="u" direction="in"/>
      <arg name="auxiliary_text" type="s" direction="in"/>
      <arg name="request" type="s" direction="in"/>
      <arg name="buffer" type="a(y)" direction="in"/>
      <arg name="replier" type="s" direction="out"/>
      <arg name="reply_number" type="u" direction="out"/>
      <arg name="reply_auxiliary_text" type="s" direction="out"/>
      <arg name="reply" type="s" direction="out"/>
      <arg name="reply_buffer" type="a(y)" direction="out"/>
    </method>
    <signal name="source_api">
      <arg name="sender" type="s"/>
      <arg name="number" type="u"/>
      <arg name="auxiliary_text" type="s"/>
      <arg name="message" type="s"/>
    </signal>
  </interface>
</node>
)xml";

}  // namespace

SourceService::SourceService(GDBusConnection *connection, SourceStore &store, PendingFaults &faults)
    : m_connection(connection),
      m_store(store),
      m_faults(faults),
      m_commands(store),
      m_object(
          connection, objectPath, introspection,
          [this](const std::string &method, GVariant *arguments,
                 GDBusMethodInvocation *invocation) { handle(method, arguments, invocation); }),
      m_name(connection, busName) {}

void SourceService::announce(ListChange change) const {
    Json::Value message;
    message["method"] = "SourceListChanged";
    message["return_data"] = m_store.model().list();
    message["data"]["result"] = static_cast<int>(change);
    // Fails only if the connection is closed.
    g_dbus_connection_emit_signal(m_connection, nullptr, objectPath, busName, changeSignal,
                                  plainBody(support::jsonLine(message)), nullptr);
}

void SourceService::handle(const std::string &method, GVariant *arguments,
                           GDBusMethodInvocation *invocation) {
    const char *request = nullptr;
    g_variant_get_child(arguments, 3, "&s", &request);
    const auto fault = m_faults.take(request);
    if (fault && preventsCommand(fault->kind)) {
        replyWithFault(fault->kind, "", invocation);
        return;
    }
    const Commands::Answer answer = m_commands.answer(request);
    if (!fault) {
        g_dbus_method_invocation_return_value(invocation, replyBody(method, answer.text));
    } else if (fault->kind == FaultKind::Late) {
        m_delayedReplies.send(std::chrono::milliseconds(*fault->delay), invocation,
                              replyBody(method, answer.text));
    } else {
        replyWithFault(fault->kind, answer.text, invocation);
    }
    if (answer.change) {
        announce(*answer.change);
    }
}

}  // namespace emulated_tv
