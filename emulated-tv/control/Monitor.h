// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_MONITOR_H
#define EMULATED_TV_MONITOR_H

#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "BusConnection.h"

namespace emulated_tv {

// A message as it passed on the bus.
struct Passing {
    // Microseconds since 1970.
    gint64 time = 0;
    support::Owner<GDBusMessage> message;
};

// Sees every message that passes on a bus, whoever it is for, and sends none itself.
class Monitor {
 public:
    // From its return on nothing is missed. Throws std::runtime_error when the bus does not let
    // this user watch.
    explicit Monitor(const std::string &busAddress);
    ~Monitor();
    Monitor(const Monitor &) = delete;
    Monitor &operator=(const Monitor &) = delete;

    // The next message, for which the main context is iterated; nothing when the bus has gone.
    std::optional<Passing> next();
    // The next message if it is there already.
    std::optional<Passing> nextAtHand();

 private:
    // Filled on GLib's own thread.
    struct Inbox {
        std::mutex mutex;
        std::deque<Passing> messages;
    };
    static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message,
                                gboolean isIncoming, gpointer inbox);

    support::Connection m_connection;
    std::shared_ptr<Inbox> m_inbox = std::make_shared<Inbox>();
    bool m_isClosed = false;
    gulong m_closedHandler = 0;
    guint m_filter = 0;
};

}  // namespace emulated_tv

#endif
