// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Control.h"

#include <map>
#include <stdexcept>

#include "JsonText.h"

namespace emulated_tv {

namespace {

constexpr auto busName = "tv_emulator.control";
constexpr auto objectPath = "/tv_emulator/control";
constexpr auto refusedError = "tv_emulator.control.Refused";

// Plug's options are "name" (s) and "device_type" (u); those of Fault are "command" (s), "count"
// (u), "delay" (u, milliseconds) and "per_second" (u).
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
    <method name="Fault">
      <arg name="kind" type="s" direction="in"/>
      <arg name="options" type="a{sv}" direction="in"/>
    </method>
  </interface>
</node>
)xml";

std::optional<std::string> textIn(GVariant *options, const char *key) {
    const char *text = nullptr;
    return g_variant_lookup(options, key, "&s", &text) != FALSE ? std::optional<std::string>(text)
                                                                : std::nullopt;
}

std::optional<std::uint32_t> numberIn(GVariant *options, const char *key) {
    guint32 number = 0;
    return g_variant_lookup(options, key, "u", &number) != FALSE ? std::optional(number)
                                                                 : std::nullopt;
}

void plugDevice(EmulatedTv &tv, GVariant *arguments) {
    const char *source = nullptr;
    g_autoptr(GVariant) options = nullptr;
    g_variant_get(arguments, "(&s@a{sv})", &source, &options);
    tv.plug(source, textIn(options, "name"), numberIn(options, "device_type"));
}

void unplugDevice(EmulatedTv &tv, GVariant *arguments) {
    const char *source = nullptr;
    g_variant_get(arguments, "(&s)", &source);
    tv.unplug(source);
}

void renameSource(EmulatedTv &tv, GVariant *arguments) {
    const char *source = nullptr;
    const char *name = nullptr;
    g_variant_get(arguments, "(&s&s)", &source, &name);
    tv.rename(source, name);
}

void setSourcePower(EmulatedTv &tv, GVariant *arguments) {
    const char *source = nullptr;
    gboolean on = FALSE;
    g_variant_get(arguments, "(&sb)", &source, &on);
    tv.setPower(source, on != FALSE);
}

void applyFault(EmulatedTv &tv, GVariant *arguments) {
    const char *kind = nullptr;
    g_autoptr(GVariant) options = nullptr;
    g_variant_get(arguments, "(&s@a{sv})", &kind, &options);
    Fault fault;
    fault.kind = faultKind(kind);
    fault.count = numberIn(options, "count");
    fault.command = textIn(options, "command");
    fault.delay = numberIn(options, "delay");
    fault.perSecond = numberIn(options, "per_second");
    tv.apply(fault);
}

// Builds an a{sv} of the options that are set.
class Options {
 public:
    Options() { g_variant_builder_init(&m_builder, G_VARIANT_TYPE_VARDICT); }

    Options &add(const char *key, const std::optional<std::string> &text) {
        if (text) {
            g_variant_builder_add(&m_builder, "{sv}", key, g_variant_new_string(text->c_str()));
        }
        return *this;
    }
    Options &add(const char *key, std::optional<std::uint32_t> number) {
        if (number) {
            g_variant_builder_add(&m_builder, "{sv}", key, g_variant_new_uint32(*number));
        }
        return *this;
    }
    GVariant *end() { return g_variant_builder_end(&m_builder); }

 private:
    GVariantBuilder m_builder;
};

}  // namespace

Control::Control(GDBusConnection *connection, EmulatedTv &tv)
    : m_tv(tv),
      m_object(
          connection, objectPath, introspection,
          [this](const std::string &method, GVariant *arguments,
                 GDBusMethodInvocation *invocation) { handle(method, arguments, invocation); }),
      m_name(connection, busName) {}

void Control::handle(const std::string &method, GVariant *arguments,
                     GDBusMethodInvocation *invocation) {
    if (method == "List") {
        const std::string sources = support::jsonLine(m_tv.model().toJson());
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(s)", sources.c_str()));
        return;
    }
    try {
        execute(method, arguments);
        g_dbus_method_invocation_return_value(invocation, nullptr);
    } catch (const std::runtime_error &error) {
        g_dbus_method_invocation_return_dbus_error(invocation, refusedError, error.what());
    }
}

void Control::execute(const std::string &method, GVariant *arguments) {
    static const std::map<std::string, void (*)(EmulatedTv &, GVariant *)> methods = {
        {"Plug", plugDevice},         {"Unplug", unplugDevice}, {"Rename", renameSource},
        {"SetPower", setSourcePower}, {"Fault", applyFault},
    };
    methods.at(method)(m_tv, arguments);
}

ControlClient::ControlClient(const std::string &busAddress)
    : m_connection(support::connectTo(busAddress)) {}

SourceModel ControlClient::sources() const {
    const support::Variant reply = call("List", nullptr);
    const char *text = nullptr;
    g_variant_get(reply.get(), "(&s)", &text);
    return SourceModel::fromJson(support::parseJson(text).value_or(Json::nullValue));
}

void ControlClient::plug(const std::string &source, const std::optional<std::string> &name,
                         std::optional<std::uint32_t> deviceType) const {
    GVariant *options = Options().add("name", name).add("device_type", deviceType).end();
    call("Plug", g_variant_new("(s@a{sv})", source.c_str(), options));
}

void ControlClient::unplug(const std::string &source) const {
    call("Unplug", g_variant_new("(s)", source.c_str()));
}

void ControlClient::rename(const std::string &source, const std::string &name) const {
    call("Rename", g_variant_new("(ss)", source.c_str(), name.c_str()));
}

void ControlClient::setPower(const std::string &source, bool on) const {
    call("SetPower", g_variant_new("(sb)", source.c_str(), static_cast<gboolean>(on)));
}

void ControlClient::apply(const Fault &fault) const {
    GVariant *options = Options()
                            .add("count", fault.count)
                            .add("command", fault.command)
                            .add("delay", fault.delay)
                            .add("per_second", fault.perSecond)
                            .end();
    call("Fault", g_variant_new("(s@a{sv})", faultName(fault.kind).c_str(), options));
}

support::Variant ControlClient::call(const char *method, GVariant *arguments) const {
    g_autoptr(GError) error = nullptr;
    support::Variant reply(g_dbus_connection_call_sync(
        m_connection.get(), busName, objectPath, busName, method, arguments, nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    if (!reply) {
        g_dbus_error_strip_remote_error(error);
        throw std::runtime_error(error->message);
    }
    return reply;
}

}  // namespace emulated_tv
