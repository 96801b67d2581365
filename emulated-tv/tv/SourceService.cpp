// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceService.h"

#include "JsonText.h"
#include "MessageBody.h"
#include "SpoiledAnswer.h"

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

SourceService::SourceService(GDBusConnection *connection, SourceState &state, ArmedFaults &faults)
    : m_connection(connection),
      m_state(state),
      m_faults(faults),
      m_commands(state),
      m_object(
          connection, objectPath, introspection,
          [this](const std::string &method, GVariant *arguments,
                 GDBusMethodInvocation *invocation) { answer(method, arguments, invocation); }),
      m_name(connection, busName) {}

void SourceService::announce(ListChange change) const {
    Json::Value message;
    message["method"] = "SourceListChanged";
    message["return_data"] = m_state.model().list();
    message["data"]["result"] = static_cast<int>(change);
    // It fails on a connection that was closed only, and then there is nobody to tell.
    g_dbus_connection_emit_signal(m_connection, nullptr, objectPath, busName, changeSignal,
                                  messageBody(jsonLine(message)), nullptr);
}

void SourceService::answer(const std::string &method, GVariant *arguments,
                           GDBusMethodInvocation *invocation) {
    const char *request = nullptr;
    g_variant_get_child(arguments, 3, "&s", &request);
    const auto fault = m_faults.take(request);
    if (fault && leavesUndone(fault->kind)) {
        answerSpoiled(fault->kind, "", invocation);
        return;
    }
    const Commands::Answer answer = m_commands.answer(request);
    if (!fault) {
        g_dbus_method_invocation_return_value(invocation, answerBody(method, answer.text));
    } else if (fault->kind == FaultKind::Late) {
        m_lateAnswers.send(std::chrono::milliseconds(*fault->delay), invocation,
                           answerBody(method, answer.text));
    } else {
        answerSpoiled(fault->kind, answer.text, invocation);
    }
    if (answer.change) {
        announce(*answer.change);
    }
}

}  // namespace emulated_tv
