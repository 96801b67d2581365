// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_CONVERSATION_H
#define EMULATED_TV_CONVERSATION_H

#include <gio/gio.h>
#include <json/json.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

#include "Monitor.h"

namespace emulated_tv {

// Follows what is said between the source service and its clients.
class Conversation {
 public:
    // A message that belongs to it, as an object:
    //   "time" (UTC), "kind" ("call", "answer", "error", "signal"), "from", "to" (not in a signal
    //   to everybody), "member" (an answer has that of its call), "serial";
    //   a body of the protocol: "sender", "number", "auxiliaryText", "json" or, when that cannot
    //   be parsed, "text", and with a buffer "buffer" {"size", "hex"};
    //   a body of another type: "type" and "value"; an error: "error" and "text".
    // Nothing for a message that is about something else.
    std::optional<Json::Value> follow(const Passing &passing);

 private:
    // A call by its sender and its serial, which an answer names.
    using CallId = std::pair<std::string, guint32>;

    std::optional<std::string> memberOf(GDBusMessage *message);

    std::map<CallId, std::string> m_openCalls;
};

}  // namespace emulated_tv

#endif
