// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Reply.h"

#include "GLibOwners.h"
#include "JsonText.h"

namespace service_check {

namespace {

bool isFailed(const Json::Value &object) {
    const Json::Value &result = object["dbus_result"];
    return result.isString() && result.asString() == "fail";
}

std::string truncated(const std::string &text) {
    constexpr std::size_t longest = 160;
    return text.size() <= longest ? text : text.substr(0, longest) + "...";
}

}  // namespace

Body readBody(GVariant *body) {
    Body read;
    read.signature = body != nullptr ? g_variant_get_type_string(body) : "()";
    const bool hasBuffer = read.signature == "(sussa(y))";
    read.isKnown = hasBuffer || read.signature == "(suss)";
    if (!read.isKnown) {
        return read;
    }
    const char *text = nullptr;
    g_variant_get_child(body, 3, "&s", &text);
    read.text = text;
    read.document = support::parseJson(read.text);
    if (hasBuffer) {
        const support::Variant array(g_variant_get_child_value(body, 4));
        const auto *bytes = static_cast<const unsigned char *>(g_variant_get_data(array.get()));
        read.buffer.emplace(bytes, bytes + g_variant_get_size(array.get()));
    }
    return read;
}

CommandResult resultOf(const Reply &reply) {
    if (reply.kind != Reply::Kind::Returned || !reply.body.document ||
        !reply.body.document->isObject()) {
        return CommandResult::Unreadable;
    }
    const Json::Value &object = *reply.body.document;
    if (isFailed(object)) {
        return CommandResult::Refused;
    }
    if (!object.isMember("return_data") || !readsAsBool(object, "return_data") ||
        !readsAsText(object, "dbus_result")) {
        return CommandResult::Unreadable;
    }
    return object["return_data"].asBool() ? CommandResult::Done : CommandResult::Refused;
}

const Json::Value *objectOf(const Reply &reply) {
    if (reply.kind != Reply::Kind::Returned || !reply.body.document) {
        return nullptr;
    }
    const Json::Value &document = *reply.body.document;
    return document.isObject() && readsAsText(document, "dbus_result") && !isFailed(document)
               ? &document
               : nullptr;
}

bool readsAsBool(const Json::Value &object, const char *member) {
    return object[member].isConvertibleTo(Json::booleanValue);
}

bool readsAsInt(const Json::Value &object, const char *member) {
    return object[member].isConvertibleTo(Json::intValue);
}

bool readsAsText(const Json::Value &object, const char *member) {
    return object[member].isConvertibleTo(Json::stringValue);
}

std::string describe(const Json::Value &value) {
    return truncated(support::jsonLine(value));
}

std::string describe(const Body &body) {
    if (!body.isKnown) {
        return "a body " + truncated(body.signature);
    }
    if (!body.document) {
        return "the text " + quoted(body.text) + ", which is not JSON";
    }
    return describe(*body.document);
}

std::string describe(const Reply &reply) {
    switch (reply.kind) {
        case Reply::Kind::Returned:
            return describe(reply.body);
        case Reply::Kind::Error:
            return "the error " + quoted(reply.message);
        case Reply::Kind::None:
            break;
    }
    return "no reply: " + quoted(reply.message);
}

std::string quoted(const std::string &text) {
    return describe(Json::Value(text));
}

}  // namespace service_check
