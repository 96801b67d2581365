// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_TRACE_H
#define EMULATED_TV_TRACE_H

#include <gio/gio.h>
#include <json/json.h>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "BusConnection.h"

namespace emulated_tv {

struct MonitoredMessage {
    // When it arrived, in microseconds since 1970.
    gint64 time = 0;
    support::Owner<GDBusMessage> message;
};

// A monitor connection, which receives every message on a bus and sends none.
class Monitor {
 public:
    // Receives all messages that are sent after the constructor has returned. Throws
    // std::runtime_error if the bus does not allow this user to monitor it.
    explicit Monitor(const std::string &busAddress);
    ~Monitor();
    Monitor(const Monitor &) = delete;
    Monitor &operator=(const Monitor &) = delete;

    // Iterates the main context until there is a message. Empty if the bus has closed.
    std::optional<MonitoredMessage> next();
    // The next message if it has arrived already.
    std::optional<MonitoredMessage> nextIfAny();

 private:
    // Filled on GLib's worker thread.
    struct Inbox {
        std::mutex mutex;
        std::deque<MonitoredMessage> messages;
    };
    static GDBusMessage *filter(GDBusConnection *connection, GDBusMessage *message,
                                gboolean isIncoming, gpointer inbox);

    support::Connection m_connection;
    std::shared_ptr<Inbox> m_inbox = std::make_shared<Inbox>();
    bool m_isClosed = false;
    gulong m_closedHandler = 0;
    guint m_filter = 0;
};

// Decodes the messages between the source service and its clients.
class MessageDecoder {
 public:
    // An object with these members:
    //   "time" (UTC), "kind" ("call", "answer", "error", "signal"), "from", "to" (not in a
    //   broadcast signal), "member" (of an answer, that of its call), "serial";
    //   for a body of the protocol: "sender", "number", "auxiliaryText", "json" or, if that cannot
    //   be parsed, "text", and if it has a buffer "buffer" {"size", "hex"};
    //   for another body: "type" and "value"; for an error: "error" and "text".
    // Empty for a message of other services. To be called with each message in turn: replies are
    // recognised by the calls before them.
    std::optional<Json::Value> decode(const MonitoredMessage &message);

 private:
    // The sender and the serial of a call.
    using CallId = std::pair<std::string, guint32>;

    std::optional<std::string> memberOf(GDBusMessage *message);

    std::map<CallId, std::string> m_openCalls;
};

struct TraceOptions {
    bool asJson = false;
    // The number of messages to print; without it, all until the bus closes.
    std::optional<std::uint32_t> count;
};

// Prints the messages between the source service and its clients, one line for each. Prints
// "tracing" on standard error once no message can be missed. Returns the exit code. Throws
// std::runtime_error if the bus cannot be monitored, or closes before `count` messages.
int trace(const std::string &busAddress, const TraceOptions &options);

// One line for a terminal, from MessageDecoder's object.
std::string traceLine(const Json::Value &message);

}  // namespace emulated_tv

#endif
