// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What a message on the bus carries, read as applications read it.
#ifndef SERVICE_CHECK_BODY_H
#define SERVICE_CHECK_BODY_H

#include <gio/gio.h>
#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

struct Body {
    std::string type;
    bool isKnown = false;  // one of the two shapes; the rest is empty otherwise
    std::string text;
    std::optional<std::vector<unsigned char>> buffer;  // of the second shape
    std::optional<Json::Value> document;               // the text, when it is JSON
};

// A null body is an empty one.
Body readBody(GVariant *body);

// What came back for a call.
struct Answer {
    enum class Kind { Returned, Error, None };
    Kind kind = Kind::None;
    Body body;          // of Returned
    std::string words;  // the error's, or why there is no answer
};

// What an application makes of the answer to a command.
enum class Reading { Done, Refused, Unreadable };
Reading readingOf(const Answer &answer);

// The answer's JSON object, or null when there is none or when it is marked as failed.
const Json::Value *objectOf(const Answer &answer);

// Whether such a member can be read as a boolean, a number or a text. What is absent can.
bool readsAsBool(const Json::Value &object, const char *member);
bool readsAsInt(const Json::Value &object, const char *member);
bool readsAsText(const Json::Value &object, const char *member);

#endif
