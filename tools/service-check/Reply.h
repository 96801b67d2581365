// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Message bodies and method replies, decoded as applications decode them, and their description in
// the report.
#ifndef SERVICE_CHECK_REPLY_H
#define SERVICE_CHECK_REPLY_H

#include <gio/gio.h>
#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

namespace service_check {

struct Body {
    std::string signature;
    bool isKnown = false;  // (suss) or (sussa(y)); otherwise the members below are empty
    std::string text;
    std::optional<std::vector<unsigned char>> buffer;  // of (sussa(y)) only
    std::optional<Json::Value> document;               // the parsed text, if it is JSON
};

// A null `body` is a message without arguments.
Body readBody(GVariant *body);

// The result of one method call.
struct Reply {
    enum class Kind { Returned, Error, None };
    Kind kind = Kind::None;
    Body body;            // of Returned
    std::string message;  // of Error and None: the error message
};

// How applications interpret the reply to a command.
enum class CommandResult { Done, Refused, Unreadable };
CommandResult resultOf(const Reply &reply);

// The reply's JSON object; null if there is none, or if "dbus_result" is "fail".
const Json::Value *objectOf(const Reply &reply);

// Whether the member converts to a boolean, a number or a string. An absent member does.
bool readsAsBool(const Json::Value &object, const char *member);
bool readsAsInt(const Json::Value &object, const char *member);
bool readsAsText(const Json::Value &object, const char *member);

// One line of ASCII; a long value is truncated.
std::string describe(const Json::Value &value);
std::string describe(const Body &body);
std::string describe(const Reply &reply);
std::string quoted(const std::string &text);

}  // namespace service_check

#endif
