// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Signals.h"

#include <stdexcept>
#include <thread>

Emitter::Emitter()
    : m_connection(g_dbus_connection_new_for_address_sync(
          g_getenv("DBUS_SYSTEM_BUS_ADDRESS"),
          static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                            G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
          nullptr, nullptr, nullptr)) {
    if (!m_connection) {
        throw std::runtime_error("no second connection to the bus");
    }
}

void Emitter::emit(const char *member, const std::string &text) const {
    if (g_dbus_connection_emit_signal(
            m_connection.get(), nullptr, "/source_service/message", "source_service.message",
            member, g_variant_new("(suss)", "source_service", 0U, "", text.c_str()),
            nullptr) == FALSE) {
        throw std::runtime_error("the signal could not be sent");
    }
    const gint64 limit = g_get_monotonic_time() + 20 * G_TIME_SPAN_SECOND;
    while (g_main_context_pending(nullptr) == FALSE) {
        if (g_get_monotonic_time() > limit) {
            throw std::runtime_error("the signal did not arrive");
        }
        std::this_thread::yield();
    }
}

void deliver() {
    g_main_context_iteration(nullptr, FALSE);
}

void settleSubscriptions() {
    if (!ByHand().isServiceThere()) {
        throw std::runtime_error("no source service");
    }
}
