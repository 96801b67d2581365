// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Monitor.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace emulated_tv {

Monitor::Monitor(const std::string &busAddress) : m_connection(support::connectTo(busAddress)) {
    // GLib's thread may be in the filter still when it has been removed.
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

std::optional<Passing> Monitor::next() {
    std::optional<Passing> passing;
    while (!(passing = nextAtHand()) && !m_isClosed) {
        g_main_context_iteration(nullptr, TRUE);
    }
    // What came before the end may have come since the look.
    return passing ? std::move(passing) : nextAtHand();
}

std::optional<Passing> Monitor::nextAtHand() {
    const std::lock_guard<std::mutex> lock(m_inbox->mutex);
    if (m_inbox->messages.empty()) {
        return std::nullopt;
    }
    std::optional<Passing> passing(std::move(m_inbox->messages.front()));
    m_inbox->messages.pop_front();
    return passing;
}

// A message for somebody else must not get through to GDBus, which would answer it.
GDBusMessage *Monitor::filter(GDBusConnection *connection, GDBusMessage *message,
                              gboolean isIncoming, gpointer data) {
    const bool isForThis = g_strcmp0(g_dbus_message_get_destination(message),
                                     g_dbus_connection_get_unique_name(connection)) == 0;
    if (isIncoming == FALSE || isForThis) {
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

}  // namespace emulated_tv
