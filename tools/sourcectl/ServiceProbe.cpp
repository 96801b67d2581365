// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ServiceProbe.h"

#include <gio/gio.h>

namespace {

constexpr const char *serviceName = "source_service.message";
constexpr int answerLimit = 25000;  // milliseconds, as for a request

}  // namespace

std::optional<std::string> whyUnreachable() {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GDBusConnection) bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (bus == nullptr) {
        return std::string("the system bus cannot be reached: ") + error->message;
    }
    g_autoptr(GVariant) answer = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", g_variant_new("(s)", serviceName), G_VARIANT_TYPE("(b)"),
        G_DBUS_CALL_FLAGS_NONE, answerLimit, nullptr, &error);
    if (answer == nullptr) {
        return std::string("the system bus does not answer: ") + error->message;
    }
    gboolean hasOwner = FALSE;
    g_variant_get(answer, "(b)", &hasOwner);
    if (hasOwner == FALSE) {
        return "the source service is not running on the system bus";
    }
    return std::nullopt;
}
