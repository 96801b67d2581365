// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Control.h"

#include <stdexcept>

#include "JsonText.h"

namespace {

constexpr auto busName = "tv_emulator.control";
constexpr auto objectPath = "/tv_emulator/control";
constexpr auto refusedError = "tv_emulator.control.Refused";

// Plug's options are "name" (s) and "device_type" (u).
constexpr auto introspection = R"xml(
<node>
  <interface name="tv_emulator.control">
    <method name="List">
      <arg name="sources" type="s" direction="out"/>
    </method>
    <method name="Plug">
      <arg name="source" type="s" direction="in"/>
      <arg name="options" type="a{sv}" direction="in"/>
    </method>
    <method name="Unplug">
      <arg name="source" type="s" direction="in"/>
    </method>
    <method name="Rename">
      <arg name="source" type="s" direction="in"/>
      <arg name="name" type="s" direction="in"/>
    </method>
    <method name="SetPower">
      <arg name="source" type="s" direction="in"/>
      <arg name="on" type="b" direction="in"/>
    </method>
  </interface>
</node>
)xml";

std::optional<ListChange> plugDevice(SourceState &state, GVariant *arguments) {
    const char *source = nullptr;
    g_autoptr(GVariant) options = nullptr;
    g_variant_get(arguments, "(&s@a{sv})", &source, &options);
    const char *name = nullptr;
    std::optional<std::string> newName;
    if (g_variant_lookup(options, "name", "&s", &name) != FALSE) {
        newName = name;
    }
    guint32 number = 0;
    std::optional<std::uint32_t> deviceType;
    if (g_variant_lookup(options, "device_type", "u", &number) != FALSE) {
        deviceType = number;
    }
    return state.change(ListChange::Plugged,
                        [&](SourceModel &model) { model.plug(source, newName, deviceType); });
}

std::optional<ListChange> renameSource(SourceState &state, GVariant *arguments) {
    const char *source = nullptr;
    const char *name = nullptr;
    g_variant_get(arguments, "(&s&s)", &source, &name);
    return state.change(ListChange::Described,
                        [&](SourceModel &model) { model.rename(source, name); });
}

std::optional<ListChange> setSourcePower(SourceState &state, GVariant *arguments) {
    const char *source = nullptr;
    gboolean on = FALSE;
    g_variant_get(arguments, "(&sb)", &source, &on);
    return state.change(ListChange::Power,
                        [&](SourceModel &model) { model.setPower(source, on != FALSE); });
}

}  // namespace

Control::Control(GDBusConnection *connection, SourceState &state, const SourceService &service)
    : m_state(state),
      m_service(service),
      m_object(
          connection, objectPath, introspection,
          [this](const std::string &method, GVariant *arguments,
                 GDBusMethodInvocation *invocation) { answer(method, arguments, invocation); }),
      m_name(connection, busName) {}

void Control::answer(const std::string &method, GVariant *arguments,
                     GDBusMethodInvocation *invocation) {
    if (method == "List") {
        const std::string sources = jsonLine(m_state.model().toJson());
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(s)", sources.c_str()));
        return;
    }
    try {
        const auto change = carryOut(method, arguments);
        g_dbus_method_invocation_return_value(invocation, nullptr);
        if (change) {
            m_service.announce(*change);
        }
    } catch (const std::runtime_error &error) {
        g_dbus_method_invocation_return_dbus_error(invocation, refusedError, error.what());
    }
}

std::optional<ListChange> Control::carryOut(const std::string &method, GVariant *arguments) {
    if (method == "Plug") {
        return plugDevice(m_state, arguments);
    }
    if (method == "Rename") {
        return renameSource(m_state, arguments);
    }
    if (method == "SetPower") {
        return setSourcePower(m_state, arguments);
    }
    const char *source = nullptr;
    g_variant_get(arguments, "(&s)", &source);
    return m_state.change(ListChange::Unplugged, [&](SourceModel &model) { model.unplug(source); });
}

RemoteControl::RemoteControl(const std::string &busAddress) : m_connection(connectTo(busAddress)) {}

SourceModel RemoteControl::sources() const {
    const Variant reply = call("List", nullptr);
    const char *text = nullptr;
    g_variant_get(reply.get(), "(&s)", &text);
    return SourceModel::fromJson(parseJson(text).value_or(Json::nullValue));
}

void RemoteControl::plug(const std::string &source, const std::optional<std::string> &name,
                         std::optional<std::uint32_t> deviceType) const {
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    if (name) {
        g_variant_builder_add(&options, "{sv}", "name", g_variant_new_string(name->c_str()));
    }
    if (deviceType) {
        g_variant_builder_add(&options, "{sv}", "device_type", g_variant_new_uint32(*deviceType));
    }
    call("Plug", g_variant_new("(sa{sv})", source.c_str(), &options));
}

void RemoteControl::unplug(const std::string &source) const {
    call("Unplug", g_variant_new("(s)", source.c_str()));
}

void RemoteControl::rename(const std::string &source, const std::string &name) const {
    call("Rename", g_variant_new("(ss)", source.c_str(), name.c_str()));
}

void RemoteControl::setPower(const std::string &source, bool on) const {
    call("SetPower", g_variant_new("(sb)", source.c_str(), static_cast<gboolean>(on)));
}

Variant RemoteControl::call(const char *method, GVariant *arguments) const {
    g_autoptr(GError) error = nullptr;
    Variant reply(g_dbus_connection_call_sync(m_connection.get(), busName, objectPath, busName,
                                              method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE,
                                              -1, nullptr, &error));
    if (!reply) {
        g_dbus_error_strip_remote_error(error);
        throw std::runtime_error(error->message);
    }
    return reply;
}
